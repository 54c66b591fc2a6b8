// Doppler against the range rate of the pseudoranges: the residual the
// survey judges by, and the repairs of unit, sign and value.
#include <cmath>
#include <utility>

#include "positioning/SatelliteService.h"
#include "preprocess/EpochTiming.h"
#include "preprocess/TrvPreprocessor.h"

namespace {

// A Doppler logged in the wrong unit stands about 1/wavelength(L1) = 5.26
// times off the range rate in cycles; this band brackets that factor.
constexpr double kWrongUnitLow = 5.0;
constexpr double kWrongUnitHigh = 6.0;
// Receiver clocks of two epochs further apart than this, in metres, mean a
// clock reset between them: the range rate then says nothing.
constexpr double kClockJump = 100000.0;
// A Doppler within this of the range rate, in Hz, is kept by the selective
// recomputation.
constexpr double kDopplerAgreement = 10.0;

bool HasDoppler(const CGnssSignal* signal) {
    return signal != nullptr && (signal->flags & kSigDoppler) != 0 && signal->doppler != 0.0f;
}

bool HasRange(const CGnssSignal& signal) { return (signal.flags & kSigPseudorange) != 0; }

// A Doppler the selective recomputation leaves as it is.
bool IsPlausibleDoppler(const CGnssSignal& signal) {
    return HasDoppler(&signal) && std::fabs(signal.doppler) <= kHighestDoppler;
}

double StepSeconds(const CGnssEpoch& older, const CGnssEpoch& newer) {
    return GpsTime(newer.week, newer.rawRcvTime).Difference(GpsTime(older.week, older.rawRcvTime));
}

// Both recomputations: walks the file in pairs and gives the signals of the
// later epoch the Doppler that the change of their range between the two
// implies, in cycles per second. With everySignal each role 0 signal gets
// it; otherwise only a missing or implausible Doppler of the satellite's
// first signal, and only when the rate disagrees. The first epoch has no
// earlier one: it borrows the Dopplers of the second. step is called once
// per pair; a failed read or write ends the walk with the count so far.
template <typename Step>
int RecomputeFromRanges(CTrvFile& file, const CSatelliteService& service, bool everySignal, Step&& step) {
    CGnssEpoch pair[2];
    CGnssEpoch* older = &pair[0];
    CGnssEpoch* newer = &pair[1];
    if (file.ReadEpochAt(0, *older) != 0 || file.ReadEpochAt(1, *newer) != 0) return 0;
    int count = 0;
    for (int index = 1;; ++index) {
        step();
        const double dt = StepSeconds(*older, *newer);
        bool changed = false;
        for (const SatelliteId& id : newer->satelliteList) {
            CGnssSignal* signal = nullptr;
            const CGnssSignal* before = nullptr;
            if (everySignal) {
                signal = newer->GetSignal(id, kPrimaryRole);
                before = older->GetSignal(id, kPrimaryRole);
            } else {
                signal = PrimarySignal(*newer, id);
                if (signal == nullptr || IsPlausibleDoppler(*signal)) continue;
                before = PrimarySignal(*older, id);
            }
            double wavelength = 0.0;
            if (signal == nullptr || before == nullptr || !service.GetWavelength(id, 0, wavelength)) continue;
            if (!HasRange(*signal) || !HasRange(*before) || dt == 0.0) continue;
            const double rate = (before->pseudorange - signal->pseudorange) / dt / wavelength;
            if (!everySignal && std::fabs(rate - signal->doppler) <= kDopplerAgreement &&
                (signal->flags & kSigDoppler) != 0)
                continue;
            signal->doppler = static_cast<float>(rate);
            signal->flags |= kSigDoppler;
            ++count;
            changed = true;
        }
        if (index == 1) {
            if (changed) {
                for (const SatelliteId& id : older->satelliteList) {
                    CGnssSignal* target = older->GetSignal(id, kPrimaryRole);
                    const CGnssSignal* source = newer->GetSignal(id, kPrimaryRole);
                    if (target == nullptr || source == nullptr) continue;
                    target->doppler = source->doppler;
                    target->flags |= kSigDoppler;
                    ++count;
                }
                if (file.WriteEpochAt(0, *older, true) != 0 || file.WriteEpochAt(1, *newer, true) != 0) break;
            }
        } else if (file.WriteEpochAt(index, *newer, true) != 0) {
            break;
        }
        std::swap(older, newer);
        if (file.ReadEpochAt(index + 1, *newer) != 0) break;
    }
    return count;
}

}  // namespace

int CTrvPreprocessor::DopplerUnitVote(const CGnssEpoch& current, const CGnssEpoch& sampled, const SatelliteId& id,
                                      double deltaT) {
    const CGnssSignal* now = current.GetSignal(id, kPrimaryRole);
    const CGnssSignal* then = sampled.GetSignal(id, kPrimaryRole);
    if (now == nullptr || then == nullptr || !HasRange(*now) || !HasRange(*then) || deltaT == 0.0) return 0;
    // The step is that of consecutive epochs, though the ranges lie a sample
    // apart: only files sampled at every epoch give the true rate here.
    // The vote looks at GPS C/A only, so one wavelength serves.
    const double expected = (then->pseudorange - now->pseudorange) / deltaT / kL1Wavelength;
    if (now->doppler == 0.0f || expected == 0.0) return -1;
    const double factor = std::fabs(now->doppler / expected);
    return factor > kWrongUnitLow && factor < kWrongUnitHigh ? 1 : -1;
}

double CTrvPreprocessor::DopplerResidual(const CGnssEpoch& first, const CGnssEpoch& second, bool negate,
                                         const CSatelliteService& service) {
    double sum = 0.0;
    int counted = 0;
    double wavelength = 0.0;
    for (const SatelliteId& id : second.satelliteList) {
        // The stand-in of a satellite missing its first signal in the
        // earlier epoch is taken from the later one.
        const CGnssSignal* earlier = second.GetSignal(id, kPrimaryRole);
        if (earlier == nullptr) earlier = first.GetSignal(id, kStandInRole);
        if (!HasDoppler(earlier)) continue;
        const CGnssSignal* later = PrimarySignal(first, id);
        if (!HasDoppler(later)) continue;
        if (!service.GetWavelength(id, 0, wavelength)) return 0.0;
        const double dt = first.trueRcvTime - second.trueRcvTime;
        if (dt <= 0.0) continue;
        if (std::fabs(first.clockOffset - second.clockOffset) > kClockJump) return 0.0;
        ++counted;
        if (!HasRange(*earlier) || !HasRange(*later)) continue;
        const double rate = (earlier->pseudorange - later->pseudorange) / dt / wavelength;
        const double difference = (negate ? -later->doppler : later->doppler) - rate;
        sum += difference * difference;
    }
    return counted > 0 ? std::sqrt(sum / counted) * wavelength : 0.0;
}

void CTrvPreprocessor::RepairDopplerUnits() {
    // Without the ephemeris GLONASS has no wavelength and keeps its values;
    // the fixed wavelengths of the others still serve.
    LoadEphemeris();
    CGnssEpoch epoch;
    RewindToFirstEpoch();
    while (ReadNextEpoch(epoch) == 0) {
        StepProgress();
        for (const SatelliteId& id : epoch.satelliteList) {
            double wavelength = 0.0;
            CGnssSignal* signal = epoch.GetSignal(id, kPrimaryRole);
            if (signal == nullptr || !service->GetWavelength(id, 0, wavelength)) continue;
            signal->doppler = -signal->doppler * static_cast<float>(wavelength);
            signal->flags |= kSigDoppler;
            ++dopplerRepairCount;
        }
        if (WriteEpochAt(CurrentEpoch(), epoch, true) != 0) return;
    }
}

int CTrvPreprocessor::RepairDopplerSign() {
    int changed = 0;
    CGnssEpoch epoch;
    RewindToFirstEpoch();
    while (ReadNextEpoch(epoch) == 0) {
        StepProgress();
        for (const SatelliteId& id : epoch.satelliteList) {
            CGnssSignal* signal = epoch.GetSignal(id, kPrimaryRole);
            if (!HasDoppler(signal)) continue;
            signal->doppler = -signal->doppler;
            ++changed;
        }
        if (WriteEpochAt(CurrentEpoch(), epoch, true) != 0) break;
    }
    return changed;
}

int CTrvPreprocessor::RecomputeDopplerSelective() {
    LoadEphemeris();
    return RecomputeFromRanges(*this, *service, false, [this] { StepProgress(); });
}

int CTrvPreprocessor::RecomputeDopplerFull() {
    LoadEphemeris();
    return RecomputeFromRanges(*this, *service, true, [this] { StepProgress(); });
}
