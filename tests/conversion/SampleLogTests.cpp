// The bundled sample log end to end: its navigation words become an .epp
// whose ephemerides put every satellite where the sample had it.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "ConvbinOracle.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisStore.h"
#include "simulation/SampleLog.h"
#include "support/TestPaths.h"

namespace {

constexpr int kEpochs = 150;
constexpr uint8_t kUbxIds[] = {0, 6, 3, 2};   // GPS, GLONASS, BeiDou, Galileo by u-blox gnssId
constexpr GnssConstellation kConstellations[] = {kGps, kGlonass, kBeiDou, kGalileo};
// Keplerian records describe the sample's circular orbits to the grid of
// their fields. A GLONASS state vector is integrated with the Earth's
// flattening, which the sample's orbits leave out: a few decimetres a
// minute or so from tb, tens of metres a quarter of an hour away.
constexpr double kKeplerTolerance = 0.1;
constexpr double kGlonassTolerance = 2.0;

}  // namespace

TEST(SampleLog, EphemeridesOfEveryConstellationPutTheSatellitesWhereTheSampleHadThem) {
    simulation::SampleLogOptions options;
    options.epochs = kEpochs;
    ubxtest::TempDir dir;
    simulation::UbxLog log;
    log.Add(simulation::BuildSampleLog(options));
    ASSERT_TRUE(log.Save(dir.File("sample.ubx")));
    ASSERT_TRUE(convbintest::RunOurs(dir.File("sample.ubx"), dir.File("sample.trv")));

    CEphemerisStore store;
    ASSERT_TRUE(LoadEphemerisFile(store, dir.File("sample.epp").c_str(), true));
    const GpsTime reception(options.week, options.startTow + kEpochs / 2);
    for (size_t c = 0; c < std::size(kConstellations); ++c) {
        int satellites = 0;
        double worst = 0.0;
        for (int prn = 1; prn <= HighestPrn(kConstellations[c]); ++prn) {
            const SatelliteId satellite(kConstellations[c], prn);
            if (!store.HasRecords(satellite)) continue;
            ++satellites;
            // The satellite at the time itself: no flight time, no turn of the Earth.
            const GNSS::IEphemeris& record = *store.GetRecords(satellite).front();
            double position[3], velocity[3];
            ASSERT_TRUE(record.ComputePositionVelocity(reception, 0.0, position, velocity));
            const double clock = record.ComputeClockBias(reception);
            double truth[3];
            ASSERT_TRUE(simulation::SampleSatellitePosition(kUbxIds[c], prn, reception.seconds, truth));
            const double d = std::hypot(position[0] - truth[0], position[1] - truth[1], position[2] - truth[2]);
            worst = std::max(worst, d);
            EXPECT_NEAR(clock, 0.0, 1e-3) << satellite.constellation << " " << prn;
        }
        EXPECT_GE(satellites, 4) << "constellation " << kConstellations[c];
        EXPECT_LT(worst, kConstellations[c] == kGlonass ? kGlonassTolerance : kKeplerTolerance)
            << "constellation " << kConstellations[c];
        std::printf("[ measured ] constellation %d: %d satellites, worst position %.3f m\n", kConstellations[c],
                    satellites, worst);
    }
}
