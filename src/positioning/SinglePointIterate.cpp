// The iteration around the least squares step: inter-system clock repair,
// taking out the worst satellite while the residuals say so, and the
// convergence steps; and the rule that decides which residual is an outlier.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "positioning/SinglePoint.h"

namespace {

// An inter-system clock this far off (metres, and against the primary's
// mean residual) was not estimated but guessed wrong.
constexpr double kClockJump = 10.0;
constexpr double kClockJumpRatio = 10.0;
// Convergence on the largest correction, position and clock alike.
constexpr double kConverged = 0.001;
constexpr int kMostConvergenceSteps = 5;
// A satellite can go only while this many remain.
constexpr int kFewestToRemoveFrom = 6;
// The outlier rule: the largest residual against the median and the next.
constexpr double kMedianRatio = 100.0;
constexpr double kNextRatio = 10.0;
constexpr double kNextRatioAtMinimum = 1000.0;
constexpr double kRmsRatio = 2.0;
constexpr int kFewestInGroup = 4;

const char* const kResidualLabels[3] = {"pseudorange", "L3 phase", "Doppler"};

double AbsResidual(const CSinglePoint::UsedEntry& entry, int kind) {
    const SatelliteObservation& r = *entry.second;
    return std::fabs(kind == 0 ? r.pseudorangeResidual : kind == 1 ? r.phaseResidual : r.dopplerResidual);
}

}  // namespace

int CSinglePoint::MinimumSatellites() {
    int count = clockColumn[kGps] < 1 ? 3 : 4;
    for (int c = 1; c < kStoredConstellations; ++c)
        if (clockColumn[c] >= 1) count = count == 3 ? 4 : count + 2;
    return count;
}

bool CSinglePoint::CanRemoveSatellite(int count, const SatelliteId& id) {
    if (count < kFewestToRemoveFrom) return false;
    const int c = id.constellation;
    if (clockColumn[c] > 0 && used[c] <= 1) {
        clockColumn[c] = -1;
        --used[c];
        --unknowns;
    }
    return count > unknowns;
}

int CSinglePoint::Iterate(const CGnssEpoch& epoch, std::vector<UsedEntry>& list, bool anyNew) {
    int rc = Solve(epoch, list);
    bool failed = rc != kSolved;
    if (!failed && anyNew) {
        // New satellites weigh as the others once a first fix has cleared them.
        for (SatelliteObservation& record : observations) record.flags &= ~static_cast<uint32_t>(kNewSatellite);
        rc = Solve(epoch, list);
        failed = rc != kSolved;
    }
    if (!failed && unknowns >= 4) {
        const double primaryMean = current.residualMean[primaryConstellation];
        bool changed = false;
        for (int c = 0; c < kStoredConstellations; ++c) {
            if (c == primaryConstellation || used[c] == 0) continue;
            if (c == kQzss && (primaryConstellation == kGps || primaryConstellation == kQzss)) continue;
            const double m = current.residualMean[c];
            if (std::fabs(m) > kClockJumpRatio * std::fabs(primaryMean) && std::fabs(m) >= kClockJump) {
                const int entry = used[primaryConstellation] == 0 && clockColumn[c] < 0 ? primaryConstellation : c;
                current.clocks.AdjustClock(entry, m, current.residualRms[c]);
                changed = true;
            }
        }
        if (changed) {
            rc = Solve(epoch, list);
            failed = rc != kSolved;
        }
    }
    if (failed) {
        if (rc != kDiverged && hasStart) return rc;
        if (rc == kTooFewSatellites || rc == kTooFewEphemerides) return rc;
    }

    if (list.size() < 3) return rc;

    // Take out the worst satellite while it stands beyond the limit.
    if (hasStart && AbsResidual(list.back(), 0) > options.residualLimit &&
        CanRemoveSatellite(static_cast<int>(list.size()), list.back().second->id)) {
        for (;;) {
            const SatelliteId worst = list.back().second->id;
            list.pop_back();
            SatelliteObservation* record = FindObservation(worst);
            if (record == nullptr) break;
            record->flags |= kRejected;
            rc = Solve(epoch, list);
            if (rc == kTooFewSatellites || rc == kTooFewEphemerides || list.empty()) break;
            if (AbsResidual(list.back(), 0) <= options.residualLimit) break;
            if (!CanRemoveSatellite(static_cast<int>(list.size()), list.back().second->id)) break;
        }
    }

    double last = maxCorrection;
    if (rc == kSolved && (last > kConverged || !hasStart)) {
        for (int step = 0; step < kMostConvergenceSteps; ++step) {
            rc = Solve(epoch, list);
            if (rc != kSolved || maxCorrection <= kConverged || maxCorrection >= last) break;
            last = maxCorrection;
        }
    }
    return rc;
}

void CSinglePoint::RejectOutliers(const std::vector<int>& groupStarts, std::vector<UsedEntry>& list, int kind,
                                  int count, double limit, double floor, std::vector<UsedEntry>& rejectedList) {
    rejectedList.clear();
    if (list.empty()) return;
    const int listSize = static_cast<int>(list.size());
    const int groupCount = static_cast<int>(groupStarts.size());
    int clockConstellations = 0;
    for (int c = 0; c < kOptionConstellations; ++c)
        if (clockColumn[c] > 2) ++clockConstellations;
    const bool byGroup = groupCount > 1 && clockConstellations >= 2;
    const int passes = byGroup ? groupCount : 1;

    for (int pass = 0; pass < passes; ++pass) {
        const int start = byGroup ? groupStarts[pass] : 0;
        int end = byGroup && pass + 1 < groupCount ? groupStarts[pass + 1] : listSize;
        int rangeCount = end - start;
        bool runRatioStep = true;

        if (rangeCount >= kFewestInGroup) {
            std::sort(list.begin() + start, list.begin() + end, [kind](const UsedEntry& a, const UsedEntry& b) {
                return AbsResidual(a, kind) < AbsResidual(b, kind);
            });
            // The middle is taken at an index of the whole list, as it always was.
            auto top = [&] { return AbsResidual(list[end - 1], kind); };
            auto second = [&] { return AbsResidual(list[end - 2], kind); };
            auto middle = [&] { return AbsResidual(list[(end - 1) / 2], kind); };
            const int m = MinimumSatellites();
            auto outlier = [&](bool needFullGroup) {
                const double t = top();
                if (t <= floor) return false;
                if (limit > floor && t > limit) return true;
                if ((!needFullGroup || rangeCount >= kFewestInGroup) && count > m + 2 &&
                    (t > kMedianRatio * std::fabs(middle()) || t >= kNextRatio * second()))
                    return true;
                return count == m + 1 && t >= kNextRatioAtMinimum * second();
            };

            if (outlier(false)) {
                int rejectedHere = 0;
                for (;;) {
                    const UsedEntry& entry = list[end - 1];
                    if (!CanRemoveSatellite(count, entry.second->id)) {
                        runRatioStep = rejectedHere == 0;
                        break;
                    }
                    if (std::find(rejectedList.begin(), rejectedList.end(), entry) == rejectedList.end()) {
                        rejectedList.push_back(entry);
                        entry.second->id.ShortText(satelliteName);
                        std::snprintf(lastError, sizeof lastError, "%s rejected due to large %s residual",
                                      satelliteName, kResidualLabels[kind]);
                        Deliver(2, current.time.seconds);
                        ++rejectedHere;
                        --rangeCount;
                        --count;
                        if (rangeCount < kFewestInGroup) {
                            runRatioStep = rejectedHere == 1;
                            break;
                        }
                    }
                    --end;
                    if (end < 2 || !outlier(true)) {
                        runRatioStep = rejectedHere == 0;
                        break;
                    }
                }
            }
        }

        // A constellation whose residuals are far worse than the primary's
        // weighs less.
        if (runRatioStep && current.solved && pass != primaryConstellation && used[primaryConstellation] > 0 &&
            current.residualRms[primaryConstellation] > 0.0) {
            const double ratio = current.residualRms[pass] / current.residualRms[primaryConstellation];
            if (ratio > kRmsRatio)
                for (int i = start; i < end; ++i) variance[list[i].first] *= ratio;
        }
    }
}
