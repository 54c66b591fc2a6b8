// The GLONASS string assembler and the string 5 reader: what they keep, what
// they refuse and what they decode; the test encoder's Hamming code held
// against the ICD's own check equations; and the decoded values held against
// RTKLIB's convbin when it is installed.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "navmsg/GlonassNavigationMessage.h"
#include "simulation/GlonassEncoders.h"
#include "simulation/NavEncoders.h"
#include "support/TestPaths.h"

using namespace ubxtest;
using namespace simulation;

namespace {

GloEphemerisRecord SampleRecord() {
    GloEphemerisRecord r{};
    r.tk = 5 * 3600 + 14 * 60 + 30;
    r.tb = 21 * 900;
    const double position[] = {12345.6789, -20123.4567, 5432.1};
    const double velocity[] = {1.2345678, -2.3456789, 3.0123};
    const double acceleration[] = {1.86e-9, -9.3e-10, 0.0};
    for (int a = 0; a < 3; ++a) {
        r.position[a] = position[a];
        r.velocity[a] = velocity[a];
        r.acceleration[a] = acceleration[a];
    }
    r.gamma = 1.8e-12f;
    r.minusTau = 3.21e-5f;
    r.En = 2;
    r.pFlags = 0xD;  // P1 = 1, P3 = 1
    r.satelliteNumber = 7;
    r.NT = 1234;
    return r;
}

// Every field at the top of its width with the sign given, so that a wrong
// width, offset or sign convention shows.
GloEphemerisRecord ExtremeRecord(int sign) {
    GloEphemerisRecord r{};
    r.tk = 86370;
    r.tb = 127 * 900;
    for (int a = 0; a < 3; ++a) r.position[a] = r.velocity[a] = r.acceleration[a] = sign * 1e9;
    r.gamma = r.minusTau = static_cast<float>(sign);
    r.En = 31;
    r.Bn = 3;
    r.pFlags = 0xF;
    r.satelliteNumber = 31;
    r.NT = 2047;
    return r;
}

bool SameRecord(const GloEphemerisRecord& a, const GloEphemerisRecord& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

int Store(INavigationMessage& m, const GlonassString& s) { return m.Store(ToGlonassBytes(s).data()); }

void StoreStrings(INavigationMessage& m, const GlonassFrame& f) {
    for (int n = 1; n <= 4; ++n) ASSERT_EQ(Store(m, f[static_cast<size_t>(n - 1)]), n) << m.ErrorText();
}

// A string with one field changed; its check bits follow.
GlonassString Edited(GlonassString s, int bit, int count, uint32_t value) {
    PutGlonassBits(s, bit, count, value);
    SetGlonassHamming(s);
    return s;
}

// ---------------------------------------------------------------- decoding

TEST(GlonassStrings, RoundTripGivesTheQuantisedRecord) {
    GloEphemerisRecord negative = SampleRecord();
    for (int a = 0; a < 3; ++a) {
        negative.position[a] = -negative.position[a];
        negative.velocity[a] = -negative.velocity[a];
        negative.acceleration[a] = -3e-9;
    }
    negative.gamma = -negative.gamma;
    negative.minusTau = -negative.minusTau;
    negative.tb = negative.tk = 0;
    for (const GloEphemerisRecord& in :
         {SampleRecord(), negative, ExtremeRecord(1), ExtremeRecord(-1), GloEphemerisRecord{}}) {
        SCOPED_TRACE(in.position[0]);
        CGlonassNavigationMessage m;
        StoreStrings(m, EncodeGlonass(in, GlonassExtras{}));
        EXPECT_EQ(m.GetLastStored(), 4);
        GloEphemerisRecord out;
        std::memset(&out, 0xA5, sizeof out);
        ASSERT_EQ(m.GetEphemeris(&out), 1) << m.ErrorText();
        EXPECT_TRUE(SameRecord(out, QuantiseGlonass(in)));  // prn, channel, tauC, times: zero
    }
}

TEST(GlonassStrings, FieldsCarryTheirIcdScale) {
    // Raw fields at the top of their magnitude, read back in physical units:
    // a check of the scales that does not lean on the encoder's quantisation.
    CGlonassNavigationMessage m;
    StoreStrings(m, EncodeGlonass(ExtremeRecord(-1), GlonassExtras{}));
    GloEphemerisRecord r{};
    ASSERT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
    EXPECT_EQ(r.tk, 23 * 3600 + 59 * 60 + 30);
    EXPECT_EQ(r.tb, 127 * 900);
    EXPECT_EQ(r.position[0], -(std::ldexp(1.0, 26) - 1) * std::ldexp(1.0, -11));
    EXPECT_EQ(r.velocity[1], -(std::ldexp(1.0, 23) - 1) * std::ldexp(1.0, -20));
    EXPECT_EQ(r.acceleration[2], -15.0 * std::ldexp(1.0, -30));
    EXPECT_EQ(r.gamma, static_cast<float>(-1023.0 * std::ldexp(1.0, -40)));
    EXPECT_EQ(r.minusTau, static_cast<float>(-(std::ldexp(1.0, 21) - 1) * std::ldexp(1.0, -30)));
    EXPECT_EQ(r.pFlags, 0xF);
    EXPECT_EQ(r.Bn, 3);  // only the top bit of Bn is a refusal
}

TEST(GlonassStrings, PassedOverRepeatedMissingAndReset) {
    const GlonassFrame f = EncodeGlonass(SampleRecord(), GlonassExtras{});
    CGlonassNavigationMessage m;
    GloEphemerisRecord r{};
    EXPECT_EQ(m.GetEphemeris(&r), 0);
    EXPECT_EQ(m.ErrorText(), "String 1 has not been loaded");
    ASSERT_EQ(Store(m, f[0]), 1);
    ASSERT_EQ(Store(m, f[1]), 2);
    for (uint32_t n = 5; n <= 15; ++n) {  // answered with their number, kept nowhere
        EXPECT_EQ(Store(m, Edited(f[4], 1, 4, n)), static_cast<int>(n));
        EXPECT_EQ(m.GetLastStored(), 2);
    }
    // A repeat overwrites its slot: the later string 1 is the one decoded.
    GloEphemerisRecord other = SampleRecord();
    other.position[0] = -777.0;
    ASSERT_EQ(Store(m, EncodeGlonass(other, GlonassExtras{})[0]), 1);
    ASSERT_EQ(Store(m, f[2]), 3);
    EXPECT_FALSE(m.IsComplete());
    EXPECT_EQ(m.GetEphemeris(&r), 0);
    EXPECT_EQ(m.ErrorText(), "String 4 has not been loaded");
    ASSERT_EQ(Store(m, f[3]), 4);
    ASSERT_EQ(m.GetEphemeris(&r), 1);
    EXPECT_EQ(r.position[0], -777.0);
    GloEphemerisRecord again{};  // decoding does not empty the slots
    ASSERT_EQ(m.GetEphemeris(&again), 1);
    EXPECT_TRUE(SameRecord(again, r));
    m.Reset();
    EXPECT_FALSE(m.IsComplete());
    EXPECT_EQ(Store(m, f[1]), -3);  // the order starts over
}

// ---------------------------------------------------------------- refusals

struct StoreCase {
    const char* name;
    std::vector<int> stored;  // strings of the sample frame stored first
    uint32_t idle, number;    // of the string offered
    int code;
    const char* words;
};

class GlonassStoreRefusal : public ::testing::TestWithParam<StoreCase> {};

TEST_P(GlonassStoreRefusal, RefusesWithCodeAndWordsAndChangesNothing) {
    const StoreCase& c = GetParam();
    const GlonassFrame f = EncodeGlonass(SampleRecord(), GlonassExtras{});
    CGlonassNavigationMessage m;
    for (int n : c.stored) ASSERT_EQ(Store(m, f[static_cast<size_t>(n - 1)]), n);
    const int before = m.GetLastStored();
    EXPECT_EQ(Store(m, Edited(Edited(f[0], 1, 4, c.number), 0, 1, c.idle)), c.code);
    EXPECT_EQ(m.ErrorText(), c.words);
    EXPECT_EQ(m.GetLastStored(), before);
    ASSERT_EQ(Store(m, f[0]), 1);
    EXPECT_EQ(m.ErrorText(), c.words);  // a success leaves the words
}

INSTANTIATE_TEST_SUITE_P(
    Cases, GlonassStoreRefusal,
    ::testing::Values(StoreCase{"IdleChip", {}, 1, 1, -1, "Idle bit is not zero"},
                      StoreCase{"IdleChipBeforeNumber", {}, 1, 0, -1, "Idle bit is not zero"},
                      StoreCase{"NumberZero", {1, 2}, 0, 0, -2, "String 0 is invalid"},
                      StoreCase{"TwoFirst", {}, 0, 2, -3, "Must store string 1 before storing string 2"},
                      StoreCase{"ThreeFirst", {}, 0, 3, -3, "Must store string 1 before storing string 3"},
                      StoreCase{"FourWithoutThree", {1, 2}, 0, 4, -3, "Must store string 3 before storing string 4"}),
    [](const auto& info) { return std::string(info.param.name); });

// Puts a string into a slot past Store's checks, as damaged memory would;
// the decoder's own checks must still catch it.
class CTamperedGlonass : public CGlonassNavigationMessage {
public:
    void Overwrite(int n, const GlonassString& s) { std::memcpy(strings[n - 1], s.data(), kStringBytes); }
};

struct DecodeCase {
    const char* name;
    int string;  // which of 1 to 4 is altered
    int bit, count;
    uint32_t value;
    bool pastStore;     // altered in its slot rather than before Store
    const char* words;  // null: decodes
};

class GlonassDecodeRefusal : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(GlonassDecodeRefusal, RefusesAtDecodingWithItsWords) {
    const DecodeCase& c = GetParam();
    GlonassFrame f = EncodeGlonass(SampleRecord(), GlonassExtras{});
    const size_t i = static_cast<size_t>(c.string - 1);
    const GlonassString altered = Edited(f[i], c.bit, c.count, c.value);
    if (!c.pastStore) f[i] = altered;
    CTamperedGlonass m;
    StoreStrings(m, f);
    if (c.pastStore) m.Overwrite(c.string, altered);
    GloEphemerisRecord r;
    std::memset(&r, 0xA5, sizeof r);
    const int result = m.GetEphemeris(&r);
    if (c.words == nullptr) {
        EXPECT_EQ(result, 1) << m.ErrorText();
    } else {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(m.ErrorText(), c.words);
        GloEphemerisRecord zero;
        std::memset(&zero, 0, sizeof zero);
        EXPECT_TRUE(SameRecord(r, zero));  // zeroed, never half filled
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, GlonassDecodeRefusal,
    ::testing::Values(DecodeCase{"Idle1", 1, 0, 1, 1, true, "String 1 idle chip is not zero"},
                      DecodeCase{"Number1", 1, 1, 4, 9, true, "String 1 string number is not 1"},
                      DecodeCase{"Idle2", 2, 0, 1, 1, true, "String 2 idle chip is not zero"},
                      DecodeCase{"Number2", 2, 1, 4, 3, true, "String 2 string number is not 2"},
                      DecodeCase{"Bn4", 2, 5, 3, 4, false, "String 2 health flag indicates poor satellite health"},
                      DecodeCase{"Bn3Passes", 2, 5, 3, 3, false, nullptr},
                      DecodeCase{"Idle3", 3, 0, 1, 1, true, "String 3 idle chip is not zero"},
                      DecodeCase{"Number3", 3, 1, 4, 1, true, "String 3 string number is not 3"},
                      DecodeCase{"Ln3", 3, 20, 1, 1, false, "String 3 health flag indicates poor satellite health"},
                      DecodeCase{"Idle4", 4, 0, 1, 1, true, "String 4 idle chip is not zero"},
                      DecodeCase{"Number4", 4, 1, 4, 0, true, "String 4 string number is not 4"},
                      DecodeCase{"Ft15", 4, 52, 4, 15, false, "String 4 has invalid satellite accuracy index"},
                      DecodeCase{"Ft14Passes", 4, 52, 4, 14, false, nullptr},
                      // Neighbours of the checked bits are no verdict.
                      DecodeCase{"String3Bits18And19Pass", 3, 18, 2, 3, false, nullptr},
                      DecodeCase{"P4Passes", 4, 51, 1, 1, false, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(GlonassStrings, ChecksRunInStringOrder) {
    GlonassFrame f = EncodeGlonass(SampleRecord(), GlonassExtras{.FT = 15, .ln3 = true});
    f[1] = Edited(f[1], 5, 3, 4);
    CGlonassNavigationMessage m;
    StoreStrings(m, f);
    GloEphemerisRecord r{};
    EXPECT_EQ(m.GetEphemeris(&r), 0);
    EXPECT_EQ(m.ErrorText(), "String 2 health flag indicates poor satellite health");
}

// ---------------------------------------------------------------- string 5

struct String5Case {
    const char* name;
    uint32_t idle, number;
    int NA;
    double tauC;
    bool sound;
};

class GlonassString5 : public ::testing::TestWithParam<String5Case> {};

TEST_P(GlonassString5, ReadsTimeOffsetAndDayNumber) {
    const String5Case& c = GetParam();
    GlonassString s = EncodeGlonass(SampleRecord(), GlonassExtras{.NA = c.NA, .tauC = c.tauC, .tauGps = -2e-7})[4];
    s = Edited(Edited(s, 1, 4, c.number), 0, 1, c.idle);
    double tauC = 99.0;
    int NA = 99;
    EXPECT_EQ(ReadString5(ToGlonassBytes(s).data(), tauC, NA), c.sound);
    EXPECT_EQ(NA, c.sound ? c.NA : 0);
    EXPECT_EQ(tauC, c.sound ? std::nearbyint(std::ldexp(c.tauC, 27)) * std::ldexp(1.0, -27) : 0.0);
}

INSTANTIATE_TEST_SUITE_P(Cases, GlonassString5,
                         ::testing::Values(String5Case{"Sound", 0, 5, 512, -1.2345e-7, true},
                                           String5Case{"FirstDay", 0, 5, 1, 3.0e-8, true},
                                           String5Case{"LastDay", 0, 5, 1461, 0.0, true},
                                           String5Case{"OneSecond", 0, 5, 100, -1.0, true},
                                           String5Case{"DayZero", 0, 5, 0, 1e-8, false},
                                           String5Case{"DayPastInterval", 0, 5, 1462, 1e-8, false},
                                           String5Case{"OffsetJustTooLarge", 0, 5, 100, 1.0 + std::ldexp(1.0, -27), false},
                                           String5Case{"OffsetFarTooLarge", 0, 5, 100, -15.9, false},
                                           String5Case{"IdleChip", 1, 5, 100, 1e-8, false},
                                           String5Case{"NotString5", 0, 4, 100, 1e-8, false}),
                         [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------- Hamming code

// The checksums c1 to c7 and c-sigma of the ICD's data verification, with
// the bit lists as the ICD tables them (b9 to b85 data, beta1 to beta8 check
// bits in b1 to b8); c[0] is c-sigma.
using Checksums = std::array<int, 8>;

int IcdBit(const GlonassString& s, int k) { return static_cast<int>(GetGlonassBits(s, 85 - k, 1)); }

Checksums Verify(const GlonassString& s) {
    using Ranges = std::vector<std::pair<int, int>>;
    static const Ranges lists[8] = {
        {{1, 85}},
        {{9, 10}, {12, 13}, {15, 15}, {17, 17}, {19, 20}, {22, 22}, {24, 24}, {26, 26}, {28, 28}, {30, 30},
         {32, 32}, {34, 35}, {37, 37}, {39, 39}, {41, 41}, {43, 43}, {45, 45}, {47, 47}, {49, 49}, {51, 51},
         {53, 53}, {55, 55}, {57, 57}, {59, 59}, {61, 61}, {63, 63}, {65, 66}, {68, 68}, {70, 70}, {72, 72},
         {74, 74}, {76, 76}, {78, 78}, {80, 80}, {82, 82}, {84, 84}},
        {{9, 9},   {11, 12}, {14, 15}, {18, 19}, {21, 22}, {25, 26}, {29, 30}, {33, 34}, {36, 37}, {40, 41},
         {44, 45}, {48, 49}, {52, 53}, {56, 57}, {60, 61}, {64, 65}, {67, 68}, {71, 72}, {75, 76}, {79, 80},
         {83, 84}},
        {{10, 12}, {16, 19}, {23, 26}, {31, 34}, {38, 41}, {46, 49}, {54, 57}, {62, 65}, {69, 72}, {77, 80}, {85, 85}},
        {{13, 19}, {27, 34}, {42, 49}, {58, 65}, {73, 80}},
        {{20, 34}, {50, 65}, {81, 85}},
        {{35, 65}},
        {{66, 85}},
    };
    Checksums c{};
    for (int i = 0; i < 8; ++i) {
        c[static_cast<size_t>(i)] = i == 0 ? 0 : IcdBit(s, i);  // beta_i
        for (const auto& [from, to] : lists[i])
            for (int k = from; k <= to; ++k) c[static_cast<size_t>(i)] ^= IcdBit(s, k);
    }
    return c;
}

bool AllZero(const Checksums& c) { return c == Checksums{}; }

TEST(GlonassHamming, EncodedStringsPassTheIcdCheck) {
    for (const GloEphemerisRecord& r : {SampleRecord(), ExtremeRecord(1), ExtremeRecord(-1)})
        for (const GlonassString& s : EncodeGlonass(r, GlonassExtras{.FT = 3, .NA = 1000, .tauC = 1e-7}))
            EXPECT_TRUE(AllZero(Verify(s))) << "string " << GetGlonassBits(s, 1, 4);
    GlonassString ones{};  // every data bit set but the idle chip
    for (int bit = 1; bit <= 76; ++bit) PutGlonassBits(ones, bit, 1, 1);
    SetGlonassHamming(ones);
    EXPECT_TRUE(AllZero(Verify(ones)));
}

TEST(GlonassHamming, EverySingleFlippedBitIsFoundWhereTheIcdSays) {
    const GlonassString good = EncodeGlonass(SampleRecord(), GlonassExtras{})[0];
    for (int k = 1; k <= 85; ++k) {
        SCOPED_TRACE(k);
        GlonassString bad = good;
        PutGlonassBits(bad, 85 - k, 1, static_cast<uint32_t>(IcdBit(good, k) ^ 1));
        const Checksums c = Verify(bad);
        EXPECT_EQ(c[0], 1);
        // The ICD's correction rule: c7..c1 as a binary number, plus 8, minus
        // the index K of the highest checksum that is 1, names the bit; a
        // flipped check bit shows in its own checksum alone.
        int value = 0, highest = 0, ones = 0;
        for (int i = 7; i >= 1; --i) {
            value = value * 2 + c[static_cast<size_t>(i)];
            ones += c[static_cast<size_t>(i)];
            if (c[static_cast<size_t>(i)] != 0 && highest == 0) highest = i;
        }
        if (k <= 8) {
            EXPECT_EQ(ones, k == 8 ? 0 : 1);
        } else {
            EXPECT_EQ(value + 8 - highest, k);
        }
    }
    GlonassString twice = good;  // two flips: c-sigma holds, the rest do not
    PutGlonassBits(twice, 30, 2, GetGlonassBits(good, 30, 2) ^ 0x3u);
    EXPECT_EQ(Verify(twice)[0], 0);
    EXPECT_FALSE(AllZero(Verify(twice)));
}

// ---------------------------------------------------------------- convbin

constexpr const char* kConvbin = "/usr/bin/convbin";

// Runs convbin on a log and returns the RINEX 3 navigation file it wrote,
// or an empty name.
std::string RunConvbin(const TempDir& dir, const std::string& log) {
    const std::string nav = dir.File("oracle.nav");
    const std::string command = std::string(kConvbin) + " -r ubx -v 3.04 -od -os -o " + dir.File("oracle.obs") +
                                " -n " + nav + " " + log + " > " + dir.File("convbin.log") + " 2>&1";
    return std::system(command.c_str()) == 0 ? nav : std::string();
}

// The numbers of a satellite's first record in a RINEX 3 navigation file:
// the second of day of its epoch, then the values in file order.
std::vector<double> ReadRinexRecord(const std::string& path, int slot) {
    std::ifstream in(path);
    const std::string satellite = "R" + std::string(slot < 10 ? "0" : "") + std::to_string(slot);
    std::vector<double> values;
    std::string line;
    bool headerDone = false;
    while (std::getline(in, line)) {
        if (!headerDone) {
            headerDone = line.find("END OF HEADER") != std::string::npos;
            continue;
        }
        for (char& ch : line)
            if (ch == 'D') ch = 'E';
        size_t at = 4;
        if (values.empty()) {
            if (line.rfind(satellite, 0) != 0) continue;
            values.push_back(std::stoi(line.substr(15, 2)) * 3600 + std::stoi(line.substr(18, 2)) * 60 +
                             std::stoi(line.substr(21, 2)));
            at = 23;
        } else if (line.size() < 5 || line[0] != ' ') {
            break;
        }
        for (; at + 19 <= line.size(); at += 19) values.push_back(std::stod(line.substr(at, 19)));
    }
    return values;
}

// Our record against convbin's: the epoch is tb in UTC, and RINEX prints
// twelve digits; health and channel stand beside the axes.
void ExpectAgreement(const std::vector<double>& v, const GloEphemerisRecord& r, int channel) {
    ASSERT_GE(v.size(), 16u) << "convbin decoded no GLONASS ephemeris";
    EXPECT_EQ((static_cast<int>(v[0]) + 10800) % 86400, r.tb);
    EXPECT_EQ((static_cast<int>(std::lround(v[3])) % 86400 + 10800) % 86400, r.tk);
    const double ours[] = {r.minusTau,    r.gamma,       0.0,
                           r.position[0], r.velocity[0], r.acceleration[0], 0.0,
                           r.position[1], r.velocity[1], r.acceleration[1], static_cast<double>(channel),
                           r.position[2], r.velocity[2], r.acceleration[2], static_cast<double>(r.En)};
    for (size_t i = 0; i < std::size(ours); ++i) {
        if (i != 2) {  // the message time, checked above
            EXPECT_NEAR(v[1 + i], ours[i], 1e-11 * std::fabs(ours[i])) << "value " << i;
        }
    }
}

// A log of one measurement epoch (RTKLIB dates the strings by it) and the
// frame's strings, through convbin.
std::vector<double> ConvbinRecord(const TempDir& dir, const GlonassFrame& f, int slot, int channel) {
    RawxBlock block;
    block.gnssId = 6;
    block.svId = static_cast<uint8_t>(slot);
    block.freqId = static_cast<uint8_t>(channel + 7);
    block.prMes = 2.1e7;
    block.cpMes = 1.1e8;
    const double tow = 3 * 86400.0 + 8 * 3600.0 + 18.0;  // 08:00 UTC, 11:00 Moscow time
    UbxLog log;
    log.Add(MakeRxmRawx(tow, 2300, {block}));
    for (const GlonassString& s : f) log.Add(MakeRxmSfrbx(6, block.svId, block.freqId, ToGlonassSfrbxWords(s, 3, 2)));
    log.Add(MakeRxmRawx(tow + 30.0, 2300, {block}));
    if (!log.Save(dir.File("oracle.ubx"))) return {};
    return ReadRinexRecord(RunConvbin(dir, dir.File("oracle.ubx")), slot);
}

TEST(GlonassOracle, ConvbinReadsTheSameEphemeris) {
    if (!std::filesystem::exists(kConvbin)) GTEST_SKIP() << "convbin (rtklib) is not installed";
    TempDir dir;
    GloEphemerisRecord in = SampleRecord();
    in.tb = 45 * 900;              // 11:15 Moscow time
    in.tk = in.tb - 15 * 60 - 30;  // sent shortly before
    const GlonassFrame f = EncodeGlonass(in, GlonassExtras{.FT = 2, .NA = 700, .tauC = -4.5e-8});
    const std::vector<double> v = ConvbinRecord(dir, f, in.satelliteNumber, -3);

    CGlonassNavigationMessage m;
    StoreStrings(m, f);
    GloEphemerisRecord r{};
    ASSERT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
    ExpectAgreement(v, r, -3);
}

TEST(GlonassOracle, ConvbinDropsAFrameWithAFlippedBit) {
    if (!std::filesystem::exists(kConvbin)) GTEST_SKIP() << "convbin (rtklib) is not installed";
    // RTKLIB runs its own Hamming check on every string: one data bit
    // flipped in string 2 must cost the whole ephemeris.
    TempDir dir;
    GlonassFrame f = EncodeGlonass(SampleRecord(), GlonassExtras{});
    PutGlonassBits(f[1], 40, 1, GetGlonassBits(f[1], 40, 1) ^ 1u);
    EXPECT_TRUE(ConvbinRecord(dir, f, 7, 0).empty());
}

TEST(GlonassOracle, RealLogAgreesWithConvbin) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!std::filesystem::exists(kConvbin)) GTEST_SKIP() << "convbin (rtklib) is not installed";
    const std::string path = (SharedUbxDir() / "m8adr_10hz_gps_glo_gal_sbas_9s.ubx").string();
    std::ifstream in(path, std::ios::binary);
    const std::vector<uint8_t> d((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(d.empty());

    // Strings of each satellite assembled as the router does: a new frame
    // number starts over. The first record of each satellite is kept.
    std::map<int, CGlonassNavigationMessage> assemblers;
    std::map<int, uint32_t> frameWord;
    std::map<int, std::pair<GloEphemerisRecord, int>> records;
    int strings = 0;
    for (size_t i = 0; i + 8 <= d.size(); ++i) {
        if (d[i] != 0xB5 || d[i + 1] != 0x62 || d[i + 2] != 0x02 || d[i + 3] != 0x13) continue;
        const size_t length = d[i + 4] | static_cast<size_t>(d[i + 5]) << 8;
        const uint8_t* p = &d[i + 6];
        if (i + 8 + length > d.size() || length < 24 || p[0] != 6 || p[1] == 255 || p[4] < 4) continue;
        Bytes bytes;  // the words most significant byte first
        for (int w = 0; w < 4; ++w)
            for (int b = 3; b >= 0; --b) bytes.push_back(p[8 + 4 * w + b]);
        GlonassString s{};
        std::memcpy(s.data(), bytes.data(), s.size());
        ++strings;
        EXPECT_TRUE(AllZero(Verify(s))) << "a satellite's string fails the ICD check";
        const int slot = p[1];
        const uint32_t frame = static_cast<uint32_t>(bytes[12]) << 24 | bytes[13] << 16 | bytes[14] << 8 | bytes[15];
        CGlonassNavigationMessage& m = assemblers[slot];
        if (frameWord.count(slot) != 0 && frameWord[slot] != frame) m.Reset();
        const int n = m.Store(bytes.data());
        if (n <= 0) continue;
        frameWord[slot] = frame;
        GloEphemerisRecord r{};
        if (n > 4 || !m.IsComplete()) continue;
        const int decoded = m.GetEphemeris(&r);
        m.Reset();
        frameWord.erase(slot);
        if (decoded == 1 && records.count(slot) == 0) records[slot] = {r, p[3] - 7};
    }
    ASSERT_GT(strings, 0);
    ASSERT_FALSE(records.empty());

    TempDir dir;
    const std::string nav = RunConvbin(dir, path);
    ASSERT_FALSE(nav.empty());
    for (const auto& [slot, record] : records) {
        SCOPED_TRACE(slot);
        ExpectAgreement(ReadRinexRecord(nav, slot), record.first, record.second);
    }
}

}  // namespace
