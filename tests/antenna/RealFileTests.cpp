// The real ANTEX files beside the project, the installation's manufact.atx,
// and the orbit classes the ephemeris store takes from it.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "antenna/AntennaTables.h"
#include "antenna/AntexTestKit.h"
#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "ephemeris/EphemerisStore.h"
#include "ephemeris/Samples.h"
#include "support/TestPaths.h"

using namespace antextest;

namespace {

std::string ReadText(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::string SharedAntex(const char* name) { return (ubxtest::SharedAntexDir() / name).string(); }

std::string Manufact() { return (ubxtest::BinaryDir() / "resources/Manufact/manufact.atx").string(); }

TEST(RealAntex, Igs05GivesEverySatelliteAntennaAndOnePerSatelliteOnADay) {
    SKIP_WITHOUT_SHARED_ANTEX();
    CSatelliteAntennaPCVCorrection antenna;
    // 323 antennas, of them 107 of satellites.
    ASSERT_TRUE(antenna.Load(nullptr, GpsTimeRange{}, SharedAntex("igs05.atx").c_str()));
    EXPECT_EQ(antenna.RecordCount(), 107);

    ASSERT_TRUE(antenna.Load(nullptr, Days(2009, 12, 20), SharedAntex("igs05.atx").c_str()));
    EXPECT_EQ(antenna.RecordCount(), 54);
    EXPECT_STREQ(antenna.Records(SatelliteId(kGps, 1))->front().svn, "G049");
    const SatelliteAntennaRecord& r01 = antenna.Records(SatelliteId(kGlonass, 1))->front();
    EXPECT_EQ(std::string(r01.cospar) + BlockTypeName(r01.blockType), "2009-070AGLONASS-M");
    const AntennaFrequency& l1 = r01.frequencies[0];
    EXPECT_EQ(l1.frequencyId, 3);   // R01, then R02
    EXPECT_EQ(r01.frequencies[1].frequencyId, 4);
    EXPECT_DOUBLE_EQ(l1.north, -0.545);
    EXPECT_DOUBLE_EQ(l1.up, 2.3);
    ASSERT_EQ(l1.columns, 15);
    EXPECT_DOUBLE_EQ(l1.Variation(0, 0), 0.0027);
    EXPECT_DOUBLE_EQ(l1.Variation(0, 14), 0.0007);
}

// The file is cut down from igs14.atx: the E04 block declares 5 frequencies
// and keeps 2, and it and the receiver block after it lost their "END OF
// ANTENNA" lines, so E04 runs on into a receiver's grid and fails.
TEST(RealAntex, Igs14SmallDropsItsDamagedGalileoBlock) {
    SKIP_WITHOUT_SHARED_ANTEX();
    CSatelliteAntennaPCVCorrection antenna;
    const std::string path = SharedAntex("igs14_small.atx");
    ASSERT_TRUE(antenna.Load(nullptr, GpsTimeRange{}, path.c_str()));
    EXPECT_EQ(antenna.RecordCount(), 2);
    EXPECT_EQ(antenna.Records(SatelliteId(kGalileo, 4)), nullptr);
    ASSERT_TRUE(antenna.Load(nullptr, Days(2008, 10, 24), path.c_str()));
    EXPECT_STREQ(antenna.Records(SatelliteId(kGps, 1))->front().svn, "G037");
    EXPECT_DOUBLE_EQ(antenna.Records(SatelliteId(kGps, 1))->front().frequencies[0].up, 2.2893);
}

TEST(ManufactAtx, LoadsEveryRecordAndTellsTheOrbitClasses) {
    const std::string text = ReadText(Manufact());
    int blocks = 0;
    for (size_t at = text.find("START OF ANTENNA"); at != std::string::npos; at = text.find("START OF ANTENNA", at + 1))
        ++blocks;
    ASSERT_GT(blocks, 100);
    CSatelliteAntennaPCVCorrection antenna;
    ASSERT_TRUE(antenna.Load(nullptr, GpsTimeRange{}, Manufact().c_str()));
    EXPECT_EQ(antenna.RecordCount(), blocks);

    // A conversion's day in 2026, through the installation's own file.
    char error[kAntennaErrorSize] = "";
    ASSERT_TRUE(antenna.Load(nullptr, Days(2026, 11, 20, 2), nullptr, error)) << error;
    const GpsTime t = At(2026, 11, 21);
    const auto classOf = [&](GnssConstellation c, int prn) { return antenna.OrbitClassAt(SatelliteId(c, prn), t); };
    for (int prn : {1, 2, 3, 4, 5, 59, 60, 61, 62}) EXPECT_EQ(classOf(kBeiDou, prn), kOrbitClassGeostationary) << prn;
    for (int prn : {6, 7, 10, 13, 16, 39, 40}) EXPECT_EQ(classOf(kBeiDou, prn), kOrbitClassInclined) << prn;
    for (int prn : {11, 14, 19, 30, 46}) EXPECT_EQ(classOf(kBeiDou, prn), kOrbitClassMedium) << prn;
    EXPECT_EQ(classOf(kBeiDou, 38), kOrbitClassUnknown);   // moved to C06 in April 2026
    EXPECT_EQ(classOf(kQzss, 7), kOrbitClassGeostationary);
    EXPECT_EQ(classOf(kQzss, 8), kOrbitClassGeostationary);
    EXPECT_EQ(classOf(kQzss, 2), kOrbitClassInclined);
    EXPECT_EQ(classOf(kQzss, 3), kOrbitClassInclined);
    EXPECT_EQ(classOf(kQzss, 4), kOrbitClassMedium);        // QZS-1R's block, QZSS-2A
    EXPECT_EQ(classOf(kQzss, 1), kOrbitClassUnknown);       // QZS-1 handed over in 2022
    EXPECT_EQ(classOf(kGps, 1), kOrbitClassMedium);

    // Earlier days give the satellites of their time.
    ASSERT_TRUE(antenna.Load(nullptr, Days(2018, 6, 1), Manufact().c_str()));
    EXPECT_STREQ(antenna.Records(SatelliteId(kBeiDou, 3))->front().cospar, "2010-024A");
    EXPECT_EQ(antenna.OrbitClassAt(SatelliteId(kBeiDou, 3), At(2018, 6, 1, 12)), kOrbitClassGeostationary);
    EXPECT_EQ(antenna.OrbitClassAt(SatelliteId(kQzss, 1), At(2018, 6, 1, 12)), kOrbitClassMedium);
    EXPECT_EQ(antenna.OrbitClassAt(SatelliteId(kBeiDou, 38), At(2018, 6, 1, 12)), kOrbitClassUnknown);
}

TEST(ManufactAtx, TheStoreKnowsItsGeostationaryBeiDouRecords) {
    CEphemerisStore store;
    ASSERT_TRUE(store.AddBeiDou(sample::BeiDouGeo()) && store.AddBeiDou(sample::BeiDouMeo()));
    const GNSS::IEphemeris& geo = *store.GetRecords(SatelliteId(kBeiDou, 3)).front();
    const GNSS::IEphemeris& meo = *store.GetRecords(SatelliteId(kBeiDou, 23)).front();
    EXPECT_FALSE(geo.IsGeostationary());

    GpsTime reference;
    ASSERT_TRUE(geo.GetReferenceTime(reference));
    GpsTimeRange day;
    day.first = reference - 43200.0, day.last = reference + 43200.0;
    CSatelliteAntennaPCVCorrection antenna;
    ASSERT_TRUE(antenna.Load(nullptr, day, Manufact().c_str()));
    store.SetSatelliteTypes(antenna);
    EXPECT_TRUE(geo.IsGeostationary());
    EXPECT_FALSE(meo.IsGeostationary());
    EXPECT_EQ(meo.GetSatelliteType(), kOrbitClassMedium);
}

}  // namespace
