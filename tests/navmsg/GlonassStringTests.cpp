// The GLONASS string assembler and the string 5 reader. Strings 1 to 4 of a
// frame decode into the quantised record in the ICD's units; each string's
// idle chip and number are checked again at decoding, and the health flags
// (top bit of Bn, ln of string 3) and accuracy index 15 refuse the set.
// String 5 yields tauC and the day number only when both are in range. Also
// our decoding of a real log against RTKLIB's convbin.
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "NavTestKit.h"
#include "navmsg/GlonassNavigationMessage.h"
#include "simulation/GlonassEncoders.h"

using namespace navtest;
using namespace simulation;

namespace {

// Every field at the top of its width with the sign given.
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

// Puts a frame's strings into the slots past Store's checks, as damaged
// memory would; the decoder's own checks must still catch them.
class CTamperedGlonass : public CGlonassNavigationMessage {
public:
    explicit CTamperedGlonass(const GlonassFrame& f) {
        for (int n = 0; n < 4; ++n) {
            std::memcpy(strings[n], f[n].data(), kStringBytes);
            loaded[n] = true;
        }
    }
};

TEST(GlonassStrings, RoundTripGivesTheQuantisedRecord) {
    // The empty record shows that a zero -tauN stays +0.
    for (const GloEphemerisRecord& in : {GloSample(), ExtremeRecord(1), ExtremeRecord(-1), GloEphemerisRecord{}}) {
        SCOPED_TRACE(in.position[0]);
        CGlonassNavigationMessage m;
        const GlonassFrame f = EncodeGlonass(in, GlonassExtras{});
        const auto out = Decoded<GloEphemerisRecord>(
            m, {ToGlonassBytes(f[0]), ToGlonassBytes(f[1]), ToGlonassBytes(f[2]), ToGlonassBytes(f[3])});
        const GloEphemerisRecord expected = QuantiseGlonass(in);
        EXPECT_EQ(std::memcmp(&out, &expected, sizeof out), 0);  // prn, channel, tauC, times: zero
    }
}

// Raw fields at the top of their magnitude, read back in physical units: the
// scales checked without the encoder's quantisation.
TEST(GlonassStrings, FieldsCarryTheirIcdScale) {
    CTamperedGlonass m(EncodeGlonass(ExtremeRecord(-1), GlonassExtras{}));
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

TEST(GlonassStrings, RefusesAtDecodingWithItsWords) {
    const struct { int string, bit, count; uint32_t value; const char* words; } cases[] = {
        {1, 0, 1, 1, "String 1 idle chip is not zero"}, {1, 1, 4, 9, "String 1 string number is not 1"},
        {2, 0, 1, 1, "String 2 idle chip is not zero"}, {2, 1, 4, 3, "String 2 string number is not 2"},
        {2, 5, 3, 4, "String 2 health flag indicates poor satellite health"}, {2, 5, 3, 3, nullptr},
        {3, 0, 1, 1, "String 3 idle chip is not zero"}, {3, 1, 4, 1, "String 3 string number is not 3"},
        {3, 20, 1, 1, "String 3 health flag indicates poor satellite health"},
        {3, 18, 2, 3, nullptr},  // the neighbours of ln are no verdict
        {4, 0, 1, 1, "String 4 idle chip is not zero"}, {4, 1, 4, 0, "String 4 string number is not 4"},
        {4, 52, 4, 15, "String 4 has invalid satellite accuracy index"}, {4, 52, 4, 14, nullptr},
        {4, 51, 1, 1, nullptr}};  // P4
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.string) + "/" + std::to_string(c.bit));
        GlonassFrame f = EncodeGlonass(GloSample(), GlonassExtras{});
        PutGlonassBits(f[c.string - 1], c.bit, c.count, c.value);
        CTamperedGlonass m(f);
        ExpectDecoding(m, sizeof(GloEphemerisRecord), c.words);
    }
}

TEST(GlonassString5, ReadsTimeOffsetAndDayNumberOnlyInRange) {
    const double unit = std::ldexp(1.0, -27);
    const struct { uint32_t idle, number; int NA; double tauC; bool sound; } cases[] = {
        {0, 5, 512, -17 * unit, true}, {0, 5, 1, 3 * unit, true},        {0, 5, 1461, 0.0, true},
        {0, 5, 100, -1.0, true},       {0, 5, 100, 1.0, true},           {0, 5, 0, unit, false},
        {0, 5, 1462, unit, false},     {0, 5, 100, 1.0 + unit, false},   {0, 5, 100, -15.9, false},
        {1, 5, 100, unit, false},      {0, 4, 100, unit, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.NA) + " " + std::to_string(c.tauC));
        GlonassString s = EncodeGlonass(GloSample(), GlonassExtras{.NA = c.NA, .tauC = c.tauC, .tauGps = -2e-7})[4];
        PutGlonassBits(s, 0, 1, c.idle);
        PutGlonassBits(s, 1, 4, c.number);
        double tauC = 99.0;
        int NA = 99;
        EXPECT_EQ(ReadString5(ToGlonassBytes(s).data(), tauC, NA), c.sound);
        EXPECT_EQ(std::make_pair(NA, tauC), std::make_pair(c.sound ? c.NA : 0, c.sound ? c.tauC : 0.0));
    }
    double tauC = 99.0;
    int NA = 99;
    EXPECT_FALSE(ReadString5(nullptr, tauC, NA));
    EXPECT_EQ(std::make_pair(NA, tauC), std::make_pair(0, 0.0));
}

// Each record of a real log, assembled as the router does (a frame starts
// over with its string 1), agrees with convbin's of the same satellite and
// epoch.
TEST(GlonassOracle, RealLogAgreesWithConvbin) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!HaveConvbin()) GTEST_SKIP() << "convbin (rtklib) is not installed";
    const std::string log = "m8adr_10hz_gps_glo_gal_sbas_9s.ubx";
    auto theirs = Convbin((ubxtest::SharedUbxDir() / log).string());
    std::map<int, CGlonassNavigationMessage> assemblers;
    int compared = 0;
    for (const SfrbxRecord& piece : ReadSfrbx(log)) {
        if (piece.gnssId != 6 || piece.svId == 255 || piece.words.size() < 4) continue;
        CGlonassNavigationMessage& m = assemblers[piece.svId];
        if (((piece.bytes[0] >> 3) & 0xF) == 1) m.Reset();
        if (m.Store(piece.bytes.data()) != 4) continue;
        GloEphemerisRecord r{};
        ASSERT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
        const std::string name = (piece.svId < 10 ? "R0" : "R") + std::to_string(piece.svId);
        for (const auto& v : theirs[name]) {
            // The epoch is tb in UTC; then -tauN, gamma, tk, and per axis the
            // position, velocity, acceleration and one more: health, channel, age.
            if (v.size() < 16 || (static_cast<int>(v[0]) + 10800) % 86400 != r.tb) continue;
            EXPECT_EQ((static_cast<int>(std::lround(v[3])) % 86400 + 10800) % 86400, r.tk) << name;
            const double ours[] = {r.minusTau,    r.gamma,       r.position[0], r.velocity[0], r.acceleration[0],
                                   r.position[1], r.velocity[1], r.acceleration[1], piece.freqId - 7.0,
                                   r.position[2], r.velocity[2], r.acceleration[2], double(r.En)};
            const int at[] = {1, 2, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 15};
            for (size_t i = 0; i < std::size(ours); ++i)
                EXPECT_TRUE(SameAsPrinted(v[at[i]], ours[i])) << name << " value " << at[i];
            ++compared;
            break;
        }
    }
    EXPECT_GE(compared, 3);
}

}  // namespace
