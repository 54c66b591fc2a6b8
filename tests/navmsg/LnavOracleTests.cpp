// The encoder and the GPS assembler held against an independent decoder:
// RTKLIB's convbin, when it is installed, turns the same RXM-SFRBX words
// into a RINEX navigation record, whose values must agree with ours.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "LnavTestData.h"
#include "support/TestPaths.h"

namespace {

constexpr const char* kConvbin = "/usr/bin/convbin";

// The numbers of the RINEX record of one satellite, in file order: the three
// clock terms of the first line, then four per line.
std::vector<double> ReadNavigationRecord(const std::string& path, const std::string& satellite) {
    std::ifstream in(path);
    std::string line;
    std::vector<double> values;
    bool inRecord = false;
    bool headerDone = false;
    while (std::getline(in, line)) {
        if (!headerDone) {
            headerDone = line.find("END OF HEADER") != std::string::npos;
            continue;
        }
        for (char& c : line)
            if (c == 'D') c = 'E';
        if (!inRecord) {
            if (line.rfind(satellite, 0) != 0) continue;
            inRecord = true;
            for (size_t at = 23; at + 19 <= line.size(); at += 19) values.push_back(std::stod(line.substr(at, 19)));
            continue;
        }
        if (line.size() < 5 || line[0] != ' ') break;
        for (size_t at = 4; at + 19 <= line.size(); at += 19) values.push_back(std::stod(line.substr(at, 19)));
    }
    return values;
}

TEST(LnavOracle, ConvbinReadsTheSameEphemeris) {
    if (!std::filesystem::exists(kConvbin)) GTEST_SKIP() << "convbin (rtklib) is not installed";
    ubxtest::TempDir dir;
    const KeplerElements k = navtest::SampleElements(0);
    simulation::LnavExtras x;
    x.towCount = static_cast<uint32_t>(k.toe / 6 + 1);
    const simulation::LnavSubframeSet set = simulation::EncodeLnav(k, x);

    simulation::RawxBlock block;
    block.gnssId = 0;
    block.svId = 5;
    block.prMes = 2.2e7;
    block.cpMes = 1.1e8;
    simulation::UbxLog log;
    log.Add(simulation::MakeRxmRawx(k.toe, static_cast<uint16_t>(k.week), {block}));
    for (const simulation::LnavWords& sf : set) log.Add(simulation::MakeRxmSfrbx(0, 5, 0, simulation::ToSfrbxWords(sf, 1)));
    log.Add(simulation::MakeRxmRawx(k.toe + 30.0, static_cast<uint16_t>(k.week), {block}));
    ASSERT_TRUE(log.Save(dir.File("oracle.ubx")));

    const std::string command = std::string(kConvbin) + " -r ubx -n " + dir.File("oracle.nav") + " -od -os " +
                                dir.File("oracle.ubx") + " > " + dir.File("convbin.log") + " 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::vector<double> v = ReadNavigationRecord(dir.File("oracle.nav"), "G05");
    ASSERT_GE(v.size(), 27u);

    CGpsNavigationMessage m(1);
    for (int n = 1; n <= 3; ++n) ASSERT_EQ(m.Store(simulation::ToLayout1(set[n - 1], 1).data()), n);
    GpsEphemerisRecord r{};
    ASSERT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
    const KeplerElements& e = r.elements;

    // RINEX prints twelve digits.
    const double ours[] = {e.af0, e.af1, e.af2, double(e.IODE), e.Crs, e.deltaN, e.M0, e.Cuc, e.e, e.Cus, e.sqrtA,
                           double(e.toe), e.Cic, e.Omega0, e.Cis, e.i0, e.Crc, e.omega, e.OmegaDot, e.IDOT};
    for (size_t i = 0; i < std::size(ours); ++i)
        EXPECT_NEAR(v[i], ours[i], 1e-11 * std::fabs(ours[i]) + 1e-300) << "value " << i;
    EXPECT_EQ(v[21], k.week);  // convbin makes the week full from the measurements
    EXPECT_EQ(v[24], 0.0);     // health
    EXPECT_NEAR(v[25], e.TGD, 1e-11 * std::fabs(e.TGD));
    EXPECT_EQ(v[26], e.IODC);
}

}  // namespace
