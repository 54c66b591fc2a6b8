// Splits time reversals and repeated epochs off into side files. The file
// keeps a sequence that rises in time; everything else goes beside it with
// copies of the ephemeris and station files, so that no data are lost and
// the side file can be processed on its own.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "preprocess/EpochTiming.h"
#include "preprocess/TrvPreprocessor.h"

namespace {

// A forward jump this long may be a block stamped ahead of its time.
constexpr double kJumpStep = 3600.0;
// Up to this share of repeats, in percent, a repeat is simply the later copy.
constexpr double kFewRepeats = 5.0;
// Phase marks further apart than these (cycles) part an epoch from its
// predecessor: the limit for the last epoch of a file is looser, since
// there is no following epoch to confirm it.
constexpr double kPhaseJump = 500.0;
constexpr double kLastPhaseJump = 1000.0;
// Two candidates whose distances in phase mark differ by less than this are
// as good as each other.
constexpr double kPhaseTie = 1.0;

struct SideNames {
    const char* trv;
    const char* epp;
    const char* sta;
};
constexpr SideNames kDuplicateNames{"(Duplicates).trv", "(Duplicates).epp", "(Duplicates).sta"};
constexpr SideNames kReversalNames{"(OutOfOrder).trv", "(OutOfOrder).epp", "(OutOfOrder).sta"};

// The first readable epoch at or after index: its index, or -1 past the end.
// A record that cannot be read is passed over; it could not be carried to
// either file anyway.
int ReadFrom(CTrvFile& file, int index, CGnssEpoch& epoch) {
    for (;; ++index) {
        const int result = file.ReadEpochAt(index, epoch);
        if (result == 0) return index;
        if (result < 0) return -1;
    }
}

// Epochs whose step from their predecessor is exactly zero: the copies a
// receiver sends twice.
int CountRepeats(CTrvFile& file) {
    CGnssEpoch previous, current;
    int repeats = 0;
    int index = ReadFrom(file, 0, previous);
    while (index >= 0 && (index = ReadFrom(file, index + 1, current)) >= 0) {
        if (EpochStep(previous, current) == 0.0) ++repeats;
        previous = current;
    }
    return repeats;
}

// A fingerprint of an epoch's carrier phases, which moves slowly from one
// epoch to the next of the same receiver: the root of the summed phases of
// the satellites' first signals over their number. A negative sum gives NaN
// on purpose; every comparison with it is then false.
double PhaseMark(const CGnssEpoch& epoch) {
    double sum = 0.0;
    for (const SatelliteId& id : epoch.satelliteList)
        if (const CGnssSignal* signal = PrimarySignal(epoch, id)) sum += signal->carrierPhase;
    return std::sqrt(sum) / static_cast<double>(epoch.satelliteList.size());
}

// Where a pass sends the epochs. Every epoch read is settled exactly once,
// and each settling is one step of the progress. The first write failure is
// kept; the pass runs on, but its files are then thrown away.
class SplitSink {
public:
    SplitSink(CTrvFile& goodFile, CTrvFile& sideFile, std::function<void()> stepProgress)
        : good(goodFile), side(sideFile), step(std::move(stepProgress)) {}

    void Good(const CGnssEpoch& epoch) {
        Put(good, epoch);
        lastGood.week = epoch.week;
        lastGood.rawRcvTime = epoch.rawRcvTime;
        hasGood = true;
    }
    void Side(const CGnssEpoch& epoch) { Put(side, epoch); }
    // The good file when keep is set and the epoch lies after the good
    // file's last epoch; the side file otherwise, so that the good file
    // rises whatever order the decisions come in.
    void Keep(const CGnssEpoch& epoch, bool keep) {
        if (keep && (!hasGood || EpochStep(lastGood, epoch) >= kSameEpochTime))
            Good(epoch);
        else
            Side(epoch);
    }
    void Drop() { step(); }
    const CTrvFile* Failed() const { return failed; }

private:
    void Put(CTrvFile& file, const CGnssEpoch& epoch) {
        step();
        if (failed == nullptr && file.AppendEpoch(epoch, false) != 0) failed = &file;
    }

    CTrvFile& good;
    CTrvFile& side;
    std::function<void()> step;
    const CTrvFile* failed = nullptr;
    CGnssEpoch lastGood;   // its time only
    bool hasGood = false;
};

// Few repeats: each epoch at exactly the time of its predecessor is a copy.
void SplitSimply(CTrvFile& source, SplitSink& sink) {
    CGnssEpoch previous, current;
    int index = ReadFrom(source, 0, previous);
    if (index < 0) return;
    sink.Good(previous);
    while ((index = ReadFrom(source, index + 1, current)) >= 0) {
        if (EpochStep(previous, current) == 0.0)
            sink.Side(current);
        else
            sink.Good(current);
        previous = current;
    }
}

// Many repeats: of two epochs at one time, the one whose phase mark carries
// on from its neighbours is the real one. Epochs that fail the GPS test
// (GLONASS without GPS) are written to neither file, so this split drops
// them: they have no part in the time line the split judges by. Every other
// epoch ends in exactly one of the two files. Returns the repeats found.
int SplitByPhase(CTrvFile& source, SplitSink& sink) {
    CGnssEpoch last, current, next;
    int repeats = 0;
    int index = ReadFrom(source, 0, last);
    if (index < 0) return 0;
    // The first epoch waits until it is known whether the next repeats it.
    bool lastPending = PassesGpsTest(last);
    if (!lastPending) sink.Drop();
    auto settleLast = [&] {
        if (lastPending) sink.Keep(last, true);
        lastPending = false;
    };

    while ((index = ReadFrom(source, index + 1, current)) >= 0) {
        if (!PassesGpsTest(current)) {
            settleLast();
            sink.Drop();
            last = current;
            continue;
        }
        const double step = EpochStep(last, current);
        const double a = PhaseMark(last);
        const double b = PhaseMark(current);
        if (step >= kSameEpochTime) {
            // Later than the last: a step of exactly the threshold is no
            // repeat either.
            settleLast();
            const int nextIndex = ReadFrom(source, index + 1, next);
            if (nextIndex < 0) {
                sink.Keep(current, std::fabs(a - b) < kLastPhaseJump);
                last = current;
                continue;
            }
            const double ahead = EpochStep(current, next);
            if (std::fabs(ahead) < kSameEpochTime && PassesGpsTest(next)) {
                // current and next share a time: the one nearer to last in
                // phase stays.
                ++repeats;
                const double c = PhaseMark(next);
                const bool currentStays =
                    std::fabs(std::fabs(a - b) - std::fabs(a - c)) < kPhaseTie || std::fabs(a - c) > std::fabs(a - b);
                sink.Keep(current, currentStays);
                sink.Keep(next, !currentStays);
                last = currentStays ? current : next;
                index = nextIndex;
            } else {
                // next is read again as the current epoch of the next round.
                sink.Keep(current, std::fabs(a - b) < kPhaseJump);
                last = current;
            }
        } else if (std::fabs(step) < kSameEpochTime) {
            // current repeats last: the one nearer in phase to the epoch
            // after them stays. With no later epoch to judge by, the first
            // of the two stays.
            ++repeats;
            bool lastStays = true;
            if (ReadFrom(source, index + 1, next) >= 0 && EpochStep(current, next) > kSameEpochTime) {
                const double c = PhaseMark(next);
                lastStays =
                    std::fabs(std::fabs(a - c) - std::fabs(b - c)) < kPhaseTie || std::fabs(b - c) > std::fabs(a - c);
            }
            if (lastPending) sink.Keep(last, lastStays);
            lastPending = false;
            // When last was placed already, the sink's order test sends
            // current aside should last be in the good file.
            sink.Keep(current, !lastStays);
            if (!lastStays) last = current;
        } else {
            // Back in time: not the concern of this split, but the good file
            // must still rise.
            settleLast();
            sink.Side(current);
            last = current;
        }
    }
    settleLast();
    return repeats;
}

// An epoch that goes back in time, and every epoch after it up to the first
// that is later than the last good one, go to the side file. A jump ahead by
// an hour or more that later returns to the time line is a block stamped
// ahead of its time and goes to the side file as a whole. Epochs at the time
// of their predecessor stay: the duplicate repair of the next run sees them.
// Returns the epochs moved.
int SplitReversals(CTrvFile& source, SplitSink& sink) {
    CGnssEpoch previous, current, ahead;
    int moved = 0;
    int noReturnFrom = -1;        // where a look-ahead ran to the end in vain
    double noReturnAfter = 0.0;   // the time it looked for
    int index = ReadFrom(source, 0, previous);
    if (index < 0) return 0;
    sink.Good(previous);
    index = ReadFrom(source, index + 1, current);
    while (index >= 0) {
        const double step = EpochStep(previous, current);
        if (step < -kSameEpochTime) {
            ++moved;
            sink.Side(current);
            while ((index = ReadFrom(source, index + 1, current)) >= 0 &&
                   EpochStep(previous, current) <= kSameEpochTime) {
                ++moved;
                sink.Side(current);
            }
            if (index < 0) break;
            sink.Good(current);
            previous = current;
        } else if (step >= kJumpStep) {
            // Look ahead for a step back that lands at or after previous. A
            // look-ahead that found none to the end answers for every later
            // jump whose previous is no earlier, so a file of many jumps is
            // not read to its end once for each.
            bool returns = false;
            const bool known = noReturnFrom >= 0 && AbsoluteEpochTime(previous) >= noReturnAfter;
            CGnssEpoch before = current;
            for (int at = index; !known && !returns && (at = ReadFrom(source, at + 1, ahead)) >= 0; before = ahead)
                returns = EpochStep(before, ahead) < 0.0 && EpochStep(previous, ahead) >= 0.0;
            if (!returns && !known) {
                noReturnFrom = index;
                noReturnAfter = AbsoluteEpochTime(previous);
            }
            if (!returns) {
                // A true gap in the recording: the file goes on from here.
                sink.Good(current);
                previous = current;
            } else {
                // The block runs while the steps rise; the epoch where they
                // stop is judged against previous in the next round.
                do {
                    ++moved;
                    sink.Side(current);
                    before = current;
                    index = ReadFrom(source, index + 1, current);
                } while (index >= 0 && EpochStep(before, current) > 0.0);
                continue;
            }
        } else {
            sink.Good(current);
            previous = current;
        }
        index = ReadFrom(source, index + 1, current);
    }
    return moved;
}

bool CreateLike(CTrvFile& file, const char* name, const CTrvPreprocessor& model, double interval) {
    // No program name: Create then records the program that split the file,
    // which is the one that wrote it; the version 0.0 marks it as no
    // converter's output.
    return file.Create(name, model.ReceiverType(), model.ReceiverName(), nullptr, 0.0, interval, nullptr,
                       model.Version());
}

void CopyIfPresent(const char* from, const char* to) {
    std::error_code error;
    if (std::filesystem::exists(from, error))
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
}

void RemoveQuietly(const char* name) {
    std::error_code error;
    std::filesystem::remove(name, error);
}

}  // namespace

int CTrvPreprocessor::RepairDuplicateEpochs() {
    duplicateEpochCount = IsOpen() ? CountRepeats(*this) : 0;
    ReportProgress(progressCount, progressTotal);
    return SplitTimeOrder(false);
}

int CTrvPreprocessor::RepairTimeReversals() {
    timeReversalCount = 0;
    return SplitTimeOrder(true);
}

int CTrvPreprocessor::SplitTimeOrder(bool reversals) {
    if (!IsOpen()) {
        SetError("TRV file not opened");
        return -2;
    }
    const SideNames& names = reversals ? kReversalNames : kDuplicateNames;
    char own[kTrvFileNameSize], temp[kTrvFileNameSize], sideName[kTrvFileNameSize];
    char from[kTrvFileNameSize], to[kTrvFileNameSize];
    std::snprintf(own, sizeof own, "%s", runFileName[0] != '\0' ? runFileName : FileName());
    CompanionName("(Temp).trv", temp);
    CompanionName(names.trv, sideName);
    CompanionName(".epp", from);
    CompanionName(names.epp, to);
    CopyIfPresent(from, to);
    CompanionName(".sta", from);
    CompanionName(names.sta, to);
    CopyIfPresent(from, to);

    CTrvFile good, side;
    const double interval = FileInterval();
    const CTrvFile* failed = nullptr;
    if (!CreateLike(good, temp, *this, interval))
        failed = &good;
    else if (!CreateLike(side, sideName, *this, interval))
        failed = &side;

    if (failed == nullptr) {
        SplitSink sink(good, side, [this] { StepProgress(); });
        if (reversals)
            timeReversalCount = SplitReversals(*this, sink);
        else if (duplicateEpochCount * 100.0 <= kFewRepeats * EpochCount())
            SplitSimply(*this, sink);
        else
            duplicateEpochCount = SplitByPhase(*this, sink);
        failed = sink.Failed();
    }
    if (failed != nullptr) {
        // Half-written files would lose what they miss once the file is
        // replaced: keep the file as it is, and only it.
        SetError("%s", failed->ErrorText());
        for (CTrvFile* made : {&good, &side}) {
            if (!made->IsOpen()) continue;
            char name[kTrvFileNameSize];
            std::snprintf(name, sizeof name, "%s", made->FileName());
            made->Close(false);
            RemoveQuietly(name);
        }
        return -2;
    }

    good.Close(false);
    side.Close(false);
    Close(false);
    std::error_code error;
    std::filesystem::remove(own, error);
    bool swapped = !error;
    if (swapped) {
        std::filesystem::rename(temp, own, error);
        swapped = !error;
    }
    // The fresh runs complete the headers; a reversal split may leave
    // repeats in the file, which its run then splits off.
    if (swapped) RunOnFile(sideName, true, reversals, false);
    RunOnFile(own, true, reversals, false);
    return 1;
}
