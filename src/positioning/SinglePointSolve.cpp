// The least squares step of the single point engine: the design, the
// weights, the normal equations and their solution, and the record of a
// finished solution.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "datum/Geodesy.h"
#include "positioning/SinglePoint.h"

namespace {

constexpr int kPositionUnknowns = 3;
constexpr int kMostUnknowns = kPositionUnknowns + kStoredConstellations;
// A correction this large comes from a geometry that cannot be solved.
constexpr double kAbsurdCorrection = 1000000000000.0;
// The Earth's surface is further than this from its centre.
constexpr double kLeastGoodRadius = 6000000.0;
// Suspects of the last epoch weigh this much less again than new satellites.
constexpr double kSuspectFactor = 4.0;
// RejectOutliers in the way the solve calls it: pseudoranges only, no fixed
// limit, and residuals below a decimetre never count as outliers.
constexpr int kPseudorangeResiduals = 0;
constexpr double kNoFixedLimit = 0.0;
constexpr double kResidualFloor = 0.1;

}  // namespace

double CSinglePoint::Residual(const SatelliteObservation& record) const {
    const int c = record.id.constellation;
    return Distance3(record.satellitePosition, current.ecef) -
           (record.pseudorange + record.satelliteClock - record.troposphereDelay + record.ionosphereDelay -
            current.clocks.GetClock(c, true));
}

// The first assignment of clock columns: the primary's, then one for each
// further constellation with at least two satellites while two spare
// observations remain. QZSS keeps to GPS's time when GPS is primary.
void CSinglePoint::AssignClockColumns(int n) {
    for (int32_t& column : clockColumn) column = -1;
    unknowns = kPositionUnknowns;
    if (wantClock[primaryConstellation]) {
        clockColumn[primaryConstellation] = kPositionUnknowns;
        unknowns = kPositionUnknowns + 1;
    }
    int constellationsUsed = 0;
    for (int c = 0; c < kStoredConstellations; ++c)
        if (used[c] > 0) ++constellationsUsed;
    if (constellationsUsed <= 1) return;
    for (int c = 0; c < kStoredConstellations; ++c) {
        if (c == primaryConstellation) continue;
        if (c == kQzss && primaryConstellation == kGps) continue;
        if (n - unknowns >= 2 && used[c] >= 2 && wantClock[c])
            clockColumn[c] = unknowns++;
        else
            wantClock[c] = 0;
    }
}

int CSinglePoint::Solve(const CGnssEpoch& epoch, std::vector<UsedEntry>& list) {
    int n = ComputeSatellites(epoch);
    if (n < 4) {
        if (n == 0)
            std::snprintf(lastError, sizeof lastError, "Failed to compute solution, no ephemeris data for any satellite");
        else
            std::snprintf(lastError, sizeof lastError, "Failed to compute solution, only %d %s ephemeris data", n,
                          n > 1 ? "satellites have" : "satellite has");
        return kTooFewEphemerides;
    }

    // A resize above either capacity takes exactly the shape asked for; an
    // epoch with more satellites than ever before grows the storage once,
    // with room for every clock column, so that later shapes fit in it.
    if (n > design.RowCapacity()) {
        design.Resize(n, kMostUnknowns, true);
        designTransposedWeighted.Resize(kMostUnknowns, n, true);
    }

    const double* x = current.ecef;
    const bool good = std::sqrt(x[0] * x[0] + x[1] * x[1] + x[2] * x[2]) > kLeastGoodRadius &&
                      IsUsablePosition(current.geodetic);
    AssignClockColumns(n);

    misclosure.Resize(n, true);
    variance.Resize(n, true);
    design.Resize(n, unknowns, true);
    rightSide.Resize(unknowns, true);
    correction.Resize(unknowns, true);
    normal.Resize(unknowns, unknowns, true);

    if (!BuildDesign(n, list, groups)) return kTooFewSatellites;
    if (static_cast<int>(list.size()) != n) {
        n = static_cast<int>(list.size());
        misclosure.Resize(n, false);
        design.Resize(n, unknowns, false);
        variance.Resize(n, false);
    }

    RejectOutliers(groups, list, kPseudorangeResiduals, n, kNoFixedLimit, kResidualFloor, rejected);

    if (!rejected.empty()) {
        std::sort(rejected.begin(), rejected.end(),
                  [](const UsedEntry& a, const UsedEntry& b) { return a.first < b.first; });
        for (auto entry = rejected.rbegin(); entry != rejected.rend(); ++entry) {
            entry->second->flags |= kRejected;
            const auto at = std::find(list.begin(), list.end(), *entry);
            if (at != list.end()) list.erase(at);
            misclosure.RemoveAt(entry->first);
            variance.RemoveAt(entry->first);
            design.RemoveRow(entry->first);
            --n;
        }
        std::memset(used, 0, sizeof used);
        for (const UsedEntry& entry : list) ++used[entry.second->id.constellation];
        for (int32_t& column : clockColumn) column = -1;
        unknowns = kPositionUnknowns;
        // A second, looser assignment: a single satellite earns a column, but
        // more than two spare observations must remain.
        if (list.size() > 3) {
            if (wantClock[primaryConstellation]) {
                clockColumn[primaryConstellation] = kPositionUnknowns;
                unknowns = kPositionUnknowns + 1;
            }
            for (int c = 0; c < kStoredConstellations && (good || unknowns < 4) && n - unknowns > 2; ++c)
                if (c != primaryConstellation && used[c] > 0 && wantClock[c]) clockColumn[c] = unknowns++;
        }
        design.Resize(n, unknowns, false);
        rightSide.Resize(unknowns, false);
        correction.Resize(unknowns, false);
        normal.Resize(unknowns, unknowns, false);
    } else if (unknowns == kPositionUnknowns) {
        // No clock to absorb a common error: the residuals themselves weigh in.
        double before = 0.0, after = 0.0;
        for (int i = 0; i < n; ++i) before += variance[i];
        for (int i = 0; i < n; ++i) {
            variance[i] += misclosure[i] * misclosure[i];
            after += variance[i];
        }
        for (int i = 0; i < n; ++i) variance[i] *= before / after;
    }

    designTransposedWeighted.Resize(unknowns, n, true);
    for (int k = 0; k < unknowns; ++k)
        for (int i = 0; i < n; ++i) designTransposedWeighted[k][i] = design[i][k] / variance[i];

    CMatrix::MultiplyVector(rightSide, designTransposedWeighted, misclosure);
    CMatrix::Multiply(normal, designTransposedWeighted, design, CMatrix::kAB);
    int failedRow = -1;
    if (normal.InvertSymmetric(0, failedRow) != CMatrix::kInverted) {
        std::snprintf(lastError, sizeof lastError, "Failure to invert normal matrix--epoch failed");
        return kSingularOrAbsurd;
    }
    CMatrix::MultiplyVector(correction, normal, rightSide);
    for (int k = 0; k < correction.Size(); ++k) {
        if (std::fabs(correction[k]) >= kAbsurdCorrection) {
            std::snprintf(lastError, sizeof lastError, "Invalid position computation from least squares estimation");
            return kSingularOrAbsurd;
        }
    }

    maxCorrection = 0.0;
    for (int k = 0; k < kPositionUnknowns; ++k) {
        current.ecef[k] += correction[k];
        maxCorrection = std::max(maxCorrection, std::fabs(correction[k]));
    }
    normal.CopyTo(positionCovariance);

    std::memset(used, 0, sizeof used);
    current.clocks.SetTime(current.time.seconds);
    for (int c = 0; c < kStoredConstellations; ++c) {
        current.residualRms[c] = current.residualMean[c] = 0.0;
        if (clockColumn[c] > 2) {
            const int column = clockColumn[c];
            const double d = correction[column];
            current.clocks.AdjustClock(c, d, std::sqrt(normal[column][column]) * options.pseudorangeSigma);
            maxCorrection = std::max(maxCorrection, std::fabs(d));
        }
    }
    ToGeodetic(current.ecef, current.geodetic, outputEllipse);

    for (const UsedEntry& entry : list) {
        SatelliteObservation& record = *entry.second;
        if ((record.flags & kNoMeasurementOrOrbit) != 0) continue;
        const double r = Residual(record);
        record.pseudorangeResidual = r;
        record.flags |= kHasResidual;
        if (record.Usable()) {
            const int c = record.id.constellation;
            current.residualMean[c] += r;
            current.residualRms[c] += r * r;
            ++used[c];
        }
    }

    const int dof = std::max(n - unknowns, 1);
    current.overallRms = 0.0;
    for (int c = 0; c < kStoredConstellations; ++c) {
        if (used[c] < 1) {
            if (c != primaryConstellation) wantClock[c] = 0;
            continue;
        }
        current.overallRms += current.residualRms[c];
        current.residualRms[c] = std::sqrt(current.residualRms[c] / used[c]);
        current.residualMean[c] /= used[c];
    }
    current.overallRms = std::sqrt(current.overallRms / dof);

    std::sort(list.begin(), list.end(), [](const UsedEntry& a, const UsedEntry& b) {
        return std::fabs(a.second->pseudorangeResidual) < std::fabs(b.second->pseudorangeResidual);
    });

    if (!IsUsablePosition(current.geodetic) && hasStart) {
        std::snprintf(lastError, sizeof lastError, "Solution diverged");
        return kDiverged;
    }
    lastError[0] = '\0';
    return kSolved;
}

bool CSinglePoint::BuildDesign(int n, std::vector<UsedEntry>& list, std::vector<int>& groupStarts) {
    list.clear();
    groupStarts.clear();
    design.Resize(n, unknowns, true);
    variance.Resize(n, true);
    misclosure.Resize(n, true);

    int row = 0;
    for (SatelliteObservation& record : observations) {
        const int c = record.id.constellation;
        if (!record.Usable() || !enabled[c]) continue;
        if (row >= n) break;
        double v[3];
        for (int k = 0; k < 3; ++k) v[k] = record.satellitePosition[k] - current.ecef[k];
        const double range = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        for (int k = 0; k < 3; ++k) design[row][k] = v[k] / range;
        // Every row carries the primary's clock; the others add their offset.
        if (clockColumn[primaryConstellation] > 2) design[row][clockColumn[primaryConstellation]] = 1.0;
        if (c != primaryConstellation && clockColumn[c] >= 3) design[row][clockColumn[c]] = 1.0;

        variance[row] = constellationVariance[c] * sourceWeight[record.orbitSource & 3];
        if (IsSuspect(record.id)) variance[row] *= newSatelliteFactor * kSuspectFactor;
        if ((record.flags & kNewSatellite) != 0) variance[row] *= newSatelliteFactor;

        double p = record.satelliteClock - record.troposphereDelay + record.ionosphereDelay + record.pseudorange;
        if (c == kGps && record.signal == 0) p += codeBias[kGps][record.id.prn];
        p -= current.clocks.GetClock(c, true);
        record.flags |= kHasResidual;
        const double r = range - p;
        record.pseudorangeResidual = r;
        misclosure[row] = r;

        list.emplace_back(row, &record);
        if (row == 0 || list[row - 1].second->id.constellation != c) groupStarts.push_back(row);
        ++row;
    }
    return list.size() >= 3;
}

void CSinglePoint::FinishSolution() {
    solution.valid = solution.computed = 1;
    solution.kinematic = current.kinematic;
    solution.week = current.time.week;
    solution.receiverSeconds = current.time.seconds;
    solution.clockCorrectedSeconds = solution.receiverSeconds - current.clocks.GetClock(kGps, false);

    // Output in the datum asked for; WGS84 until other datums are loaded.
    GeodeticPosition outputGeodetic = current.geodetic;
    double outputEcef[3];
    ToCartesian(outputGeodetic, outputEcef, outputEllipse);

    solution.geodetic = current.geodetic;
    std::memcpy(solution.ecef, current.ecef, sizeof solution.ecef);
    solution.outputGeodetic = outputGeodetic;
    std::memcpy(solution.outputEcef, outputEcef, sizeof outputEcef);
    solution.clocks = current.clocks;
    solution.unknowns = static_cast<uint8_t>(unknowns);
    solution.observations = static_cast<uint8_t>(misclosure.Size());

    for (SatelliteObservation& record : observations) {
        if ((record.flags & kNoOrbit) != 0) continue;
        record.pseudorangeResidual = Residual(record);
        record.flags |= kHasResidual;
    }
    solution.SetObservations(observations);
    solution.SetCovariance(normal, options.pseudorangeSigma);
    solution.overallRms = current.overallRms;
    for (int c = 0; c < kStoredConstellations; ++c) solution.rmsBySystem[c] = current.residualRms[c];
}
