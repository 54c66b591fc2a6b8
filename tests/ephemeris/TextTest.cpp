// The keyed text of the .epp file: the record reader, its reduced scan, and the ephemeris records of the five
// classes: layout, optional parts, older layouts and the words of the reader's checks.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "Samples.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"

namespace {

using namespace GNSS;
using ephtest::Parse;
using ephtest::Written;

TEST(TextRecord, FindsRecordsAndSkipsTheRest) {
    std::string text = "$EPHV3B Ver9.00.2207 UBLOX2TRV\n; a comment { not a record\n\n"
                       "GpsIon {\n\tCfa: 1 2 3 4 ; trailing words\n\t; only a comment\n}\n"
                       "too far along the line   { x\nNoBlank{ x\nTwo words { Key: 1 }\n"
                       "STcorr { GPUT: 1.5 2.5 3 4 \"a b\" 6 }\nGpsEph { Prn: 4\n\tE31: 1 2 3\n";
    FILE* f = fmemopen(text.data(), text.size(), "r"); TextRecord record;
    ASSERT_TRUE(record.Read(f)); EXPECT_STREQ(record.Token(), "GpsIon");
    ASSERT_EQ(record.LineCount(), 1);
    EXPECT_TRUE(std::string(record.LineAt(0).key) == "Cfa:" && record.LineAt(0).valueCount == 4);
    ASSERT_TRUE(record.Read(f));
    EXPECT_STREQ(record.Token(), "Two") << "the first word names a record of two words";
    ASSERT_TRUE(record.Read(f));
    EXPECT_TRUE(std::string(record.Token()) == "STcorr" && record.LineCount() == 1);
    EXPECT_EQ(record.LineAt(0).valueCount, 6);
    ASSERT_TRUE(record.Read(f)) << "a record cut short by the end of the file still counts";
    EXPECT_EQ(record.LineCount(), 2); EXPECT_FALSE(record.Read(f));
    std::fclose(f); EXPECT_FALSE(Parse("no record here\n", record) || record.Read(nullptr));
}

TEST(TextRecord, ScanFieldConversions) {
    TextRecord record;
    ASSERT_TRUE(Parse("Tok { Key: 12 -3.5e-2\n  key: 7,8,  9\n  Name: \"two words\" x\n  Dot: 12.75 .5\n"
                      "  Neg: -4 4000000000\n  Chr: G12\n  Empty:\n}\n",
                      record));
    int a = 0, b = 0, c = 0; double d = 0.0;
    float f = 0.0f; unsigned u = 0;
    char text[kTextValueSize] = "", ch = 0;
    // The first unused line with the key, case ignored, then the next one; commas separate.
    EXPECT_EQ(ScanField("KEY:", record, "%d%lf", &a, &d), 2); EXPECT_TRUE(a == 12 && d == -3.5e-2);
    EXPECT_EQ(ScanField("Key:", record, "%d%d%d", &a, &b, &c), 3); EXPECT_TRUE(a == 7 && b == 8 && c == 9);
    EXPECT_TRUE(ScanField("Key:", record, "%d", &a) == -1 && ScanField(nullptr, record, "%d", &a) == -1);
    EXPECT_EQ(ScanField("Name:", record, "%s%c", text, &ch), 2);
    EXPECT_TRUE(text == std::string("two words") && ch == 'x');
    // '.' ends an integer conversion; a real takes it.
    EXPECT_EQ(ScanField("Dot:", record, "%d%d", &a, &b), 1); record.LineAt(3).used = false;
    EXPECT_EQ(ScanField("Dot:", record, "%d%f%lf", &a, &f, &d), 3); EXPECT_TRUE(a == 12 && f == 0.75f && d == 0.5);
    EXPECT_EQ(ScanField("Neg:", record, "%d%u", &a, &u), 2); EXPECT_TRUE(a == -4 && u == 4000000000u);
    EXPECT_EQ(ScanField("Chr:", record, "%c%d", &ch, &a), 2); EXPECT_TRUE(ch == 'G' && a == 12);
    EXPECT_EQ(ScanField("Empty:", record, "%d", &a), 0);
    record.LineAt(0).used = false;   // format blanks and line ends are ignored
    EXPECT_EQ(ScanField("Key:", record, "%d %lf\n", &a, &d), 2);
}

// Reading through the one entry point of each class; GLONASS without a time range.
template <typename T>
bool Read(T& e, TextRecord& r, int version, char* m) { return e.ReadRecord(r, version, m); }
bool Read(CEphemerisGLO& e, TextRecord& r, int version, char* m) { return e.ReadRecord(r, version, {}, 0, false, m); }
template <typename T>
bool ReadText(const std::string& text, T& e, char* message, int version = 2) {
    TextRecord record; EXPECT_TRUE(Parse(text, record)) << text;
    return Read(e, record, version, message);
}

GloEphemerisRecord ResolvedGlonass() {
    GloEphemerisRecord r = sample::GlonassAt(381618.0);
    r.receptionTime = 2300 * 604800.0 + 381000.0, r.tauC = -2.793967723846e-09, r.NT = 812;
    return r;
}

// Every class round trips in the .epp file of the store; here the layout and the optional parts.
TEST(EphemerisText, LayoutAndOptionalParts) {
    EXPECT_EQ(Written(CEphemerisGPS(sample::Gps())),
              "GpsEph { Prn: 5\n\tE31: 2300 345600 -1.11758709e-08\n"
              "\tE32: 77 345600 -1.23431813e-04 -3.41060513e-12 0.00000000e+00\n"
              "\tE33: 77 5.15365531158000e+03 1.02386563178000e-02\n"
              "\tE34: 8.12345678901000e-01 -2.01234567891000e+00 -8.10212347018000e-09\n"
              "\tE35: 9.61622154371000e-01 2.10723348e-10 4.51304515e-09 1.23456789012000e+00\n"
              "\tE36: -1.21630728e-06 2.30531250e+02 1.11758709e-07\n"
              "\tE37: 7.51577318e-06 -2.23437500e+01 -5.21540642e-08\n}\n");
    EXPECT_EQ(Written(CEphemerisBDS(sample::BeiDouMeo())).substr(6, 35), " { Prn: 23 0\n\tE30: 2300 345614.000\n");
    EXPECT_FALSE(CEphemerisGPS(sample::Gps()).WriteRecord(nullptr));
    // A GLONASS record with and without its reception time.
    GloEphemerisRecord noReception = ResolvedGlonass();
    noReception.hasReceptionTime = false, noReception.receptionTime = 0.0;
    const std::string glo = Written(CEphemerisGLO(ResolvedGlonass())), bare = Written(CEphemerisGLO(noReception));
    EXPECT_NE(glo.find("GloEph { Prn: 9 0\n\tGPS: 2300 381618.0\n\tTkb: 45000 46800   1391421000.00\n"), glo.npos);
    EXPECT_NE(bare.find("\tTkb: 45000 46800 \n"), std::string::npos);
    CEphemerisGLO gloAgain; char message[kEphemerisMessageSize];
    for (const std::string& text : {glo, bare}) {
        ASSERT_TRUE(ReadText(text, gloAgain, message)) << message; EXPECT_EQ(Written(gloAgain), text);
    }
    // Galileo: GI1 without GI2 is refused; neither part fails the validity check; a short GF1 line gives its BGD,
    // not the flag.
    CEphemerisGAL gal;
    const std::string full = Written(CEphemerisGAL(sample::Galileo()));
    const size_t gf1 = full.find("\tGF1:"), gi1 = full.find("\tGI1:"), gi2 = full.find("\tGI2:");
    EXPECT_FALSE(ReadText(full.substr(0, gi2) + "}\n", gal, message));
    EXPECT_FALSE(ReadText(full.substr(0, gf1) + "}\n", gal, message));
    EXPECT_STREQ(message, "Error: both F/NAV and I/NAV parameters are not valid");
    ASSERT_TRUE(ReadText(full.substr(0, gf1) + "\tGF1: 1 3.5e-09\n" + full.substr(gi1), gal, message)) << message;
    EXPECT_TRUE(gal.Record().bgdE1E5a == 3.5e-09 && !gal.Record().fNavValid && gal.Record().iNavValid);
    // A QZSS record without JS1 reads.
    std::string qzsText = Written(CEphemerisQZSS(sample::QzssQuasiZenith()));
    CEphemerisQZSS qzs;
    EXPECT_TRUE(ReadText(qzsText.replace(qzsText.find("\tJS1:"), 5, "\tXX1:"), qzs, message)) << message;
    EXPECT_EQ(qzs.Record().ura, 0.0);
}

const std::string kGpsVersionZero =
    "GpsEph { Prn: 12\n  El1: 253 0 -1.1175870895e-08 221 302400\n"
    "  El2: 0.0 -1.136868377216e-12 -5.0412863493e-05\n  El3: 221 -85.6875 4.6e-09 -2.87\n"
    "  El4: -4.4703483582e-06 5.8e-03 8.9e-06 5153.7\n  El5: 0 5.9e-08 1.02 -1.5e-08\n"
    "  El6: 0.95 210.2 -1.7 -8.2e-09 2.1e-10\n}\n";

TEST(EphemerisText, OlderLayouts) {
    char message[kEphemerisMessageSize]; CEphemerisGPS gps;
    ASSERT_TRUE(ReadText(kGpsVersionZero, gps, message, 0)) << message;
    const KeplerElements& k = gps.Record().elements;
    // A toe of zero belongs to the next week; the 10-bit week is widened.
    EXPECT_TRUE(k.week % 1024 == 254 && k.week >= 2048 && k.toe == 0 && k.toc == 302400 && k.IODC == 221);
    EXPECT_TRUE(k.af2 == 0.0 && k.af0 == -5.0412863493e-05 && k.Crs == -85.6875 && k.sqrtA == 5153.7);
    EXPECT_TRUE(k.Omega0 == 1.02 && k.Cis == -1.5e-08 && k.omega == -1.7 && k.IDOT == 2.1e-10);
    // Version 1: E31 holds an extra integer; at version 2 the same line is read by the current layout.
    const std::string gpsText = "GpsEph { Prn: 7\n\tE31: 2300 345600 99 -1.5e-08\n\tE32: 5 345600 1e-05 0 0\n"
                                "\tE33: 5 5153.6 0.01\n\tE34: 1 2 -8e-09\n\tE35: 0.96 0 4e-09 1.5\n\tE36: 0 0 0\n"
                                "\tE37: 0 0 0\n}\n";
    ASSERT_TRUE(ReadText(gpsText, gps, message, 1)) << message;
    EXPECT_EQ(gps.Record().elements.TGD, -1.5e-08);
    ASSERT_TRUE(ReadText(gpsText, gps, message, 2)) << message;
    EXPECT_EQ(gps.Record().elements.TGD, 99.0);
    // BeiDou version 1: the lines one key further on; the GPS time is derived again.
    const std::string bdsText = "BdsEph { Prn: 14 0\n\tE31: 1 2\n\tE32: 944 604790 2.4 8.1e-09 -2.2e-09\n"
                                "\tE33: 1 604800 2.5e-04 1e-11 0\n\tE34: 1 5282.6 0.001\n\tE35: 1 2 -7e-09\n"
                                "\tE36: 0.96 0 3e-09 0.5\n\tE37: 1e-06 100.5 1e-08\n\tE38: 2e-06 -12.5 -1e-08\n}\n";
    CEphemerisBDS bds; ASSERT_TRUE(ReadText(bdsText, bds, message, 1)) << message;
    const BdsEphemerisRecord& r = bds.Record();
    EXPECT_TRUE(r.gpsWeek == 2301 && r.gpsSeconds == 4.0 && r.ura == 2.4 && r.tgd2 == -2.2e-09);
    EXPECT_TRUE(r.elements.Crc == 100.5 && r.elements.Cis == -1e-08 && r.elements.toc == 604800);
    EXPECT_FALSE(ReadText(bdsText, bds, message, 0)) << "version 0 has no BeiDou layout: refused without words";
    EXPECT_STREQ(message, "");
}

TEST(EphemerisText, GlonassReaderAsymmetries) {
    std::string text = Written(CEphemerisGLO(ResolvedGlonass()));
    text.replace(text.find("Prn: 9 0"), 8, "Prn: 46 7").replace(0, 6, "GlnEph");
    text.replace(text.find("\tGPS:"), text.find("\tTkb:") - text.find("\tGPS:"), "");
    text.replace(text.find("-2.793967723846000e-09"), 22, "1.0e-4");
    CEphemerisGLO glo; char message[kEphemerisMessageSize];
    ASSERT_TRUE(ReadText(text, glo, message)) << message;
    // GlnEph slots count from 38; no GPS: line, no week; an implausible tau-c is dropped; Lte is single precision.
    EXPECT_TRUE(glo.Record().prn == 9 && glo.Record().spare == 7 && glo.Record().gpsWeek == 0);
    EXPECT_TRUE(glo.Record().tauC == 0.0 && glo.Record().minusTau == sample::Glonass().minusTau);
    EXPECT_FALSE(glo.IsValid(nullptr));
    // With a range and leap seconds the file entry point resolves the time.
    GpsTimeRange range; range.Set(2300, 380000.0, 2300, 390000.0);
    TextRecord record; ASSERT_TRUE(Parse(text, record));
    ASSERT_TRUE(glo.ReadRecord(record, 2, range, 18.0, true, message)) << message;
    EXPECT_TRUE(glo.Record().gpsWeek == 2300 && glo.IsValid(message));
    const char* faults[][3] = {{"GlnEph", "GpsEph", "Error: Not a GLONASS ephemeris record"},
                               {"Prn: 46 7", "Prn: 70 7", "Error: Invalid GLONASS PRN 33--Ephemeris record ignored"},
                               {"Prn: 46 7", "Prn: 46", ""},
                               {"\tFlg: 3 0\n", "", ""}};
    for (const auto& f : faults) {
        std::string broken = text;
        ASSERT_TRUE(Parse(broken.replace(broken.find(f[0]), std::strlen(f[0]), f[1]), record));
        EXPECT_FALSE(glo.ReadRecord(record, 2, range, 18.0, true, message)) << f[1];
        EXPECT_STREQ(message, f[2]);
    }
}

template <typename T>
std::function<bool(const std::string&, char*)> As(int version = 2) {
    return [version](const std::string& text, char* message) { T e; return ReadText(text, e, message, version); };
}

TEST(EphemerisText, ReaderWords) {
    const auto gps = As<CEphemerisGPS>(), qzs = As<CEphemerisQZSS>(), bds = As<CEphemerisBDS>();
    const auto gal = As<CEphemerisGAL>(), glo = As<CEphemerisGLO>(), gps0 = As<CEphemerisGPS>(0);
    const std::string gpsText = Written(CEphemerisGPS(sample::Gps()));
    const std::string qzsText = Written(CEphemerisQZSS(sample::QzssQuasiZenith()));
    const std::string bdsText = Written(CEphemerisBDS(sample::BeiDouMeo()));
    const std::string galText = Written(CEphemerisGAL(sample::Galileo()));
    const std::string gloText = Written(CEphemerisGLO(ResolvedGlonass()));
    auto outOfRange = [](int prn) {
        return "Error: Ephemeris record of PRN " + std::to_string(prn) +
               " holds a value out of range--Ephemeris record ignored";
    };
    auto edit = [](std::string s, const std::string& a, const char* b) { return s.replace(s.find(a), a.size(), b); };
    using Reader = std::function<bool(const std::string&, char*)>;
    const struct { std::string text; Reader read; std::string words; } cases[] = {
        {gpsText, qzs, "Error: Not a QZSS ephemeris record"},
        {edit(gpsText, "Prn: 5", "Prn: 33"), gps, "Warning: Invalid GPS PRN 33--Ephemeris record ignored"},
        {edit(gpsText, "5.15365531158000e+03", "6001.0"), gps,
         "Warning: Possible bad ephemeris record for PRN 5 (ROOTA=6001.0)"},
        {edit(gpsText, "\tE36: -1.21630728e-06 ", "\tE36: "), gps, ""},
        {edit(qzsText, "Prn: 2", "Prn: 11"), qzs, "Warning: Invalid QZSS PRN 11--Ephemeris record ignored"},
        {edit(qzsText, "6.49328417206000e+03", "5153.0"), qzs, "Error: Invalid ephemeris data PRN 2 (ROOTA = 5153.0)"},
        {qzsText, bds, "Error: Not a GPS ephemeris record"},
        {edit(bdsText, "Prn: 23 0", "Prn: 64 0"), bds, "Warning: Invalid GPS PRN 64--Ephemeris record ignored"},
        {edit(bdsText, "5.28262637329000e+03", "7000.5"), bds,
         "Warning: Possible bad ephemeris record for PRN 23 (ROOTA=7000.5)"},
        {edit(bdsText, "4.85000000e+00 -3.10000000e-09 0", "4.85 -3.1e-09 1"), bds, ""},   // satH1 of BS1 wins
        {gpsText, gal, "Error: Not a EGS ephemeris record"},
        {edit(galText, "Prn: 11", "Prn: 37"), gal, "Warning: Invalid EGS PRN 37--Ephemeris record ignored"},
        // Numbers no broadcast holds (NaN, infinities, weeks at the integer limit or beyond it once offset) never
        // reach the time and orbit arithmetic.
        {edit(gpsText, "8.12345678901000e-01", "nan"), gps, outOfRange(5)},
        {edit(gpsText, "E31: 2300", "E31: 2147483647"), gps, outOfRange(5)},
        {edit(kGpsVersionZero, "El1: 253", "El1: 2147483647"), gps0, outOfRange(12)},   // a toe of 0 would raise it
        {edit(qzsText, "6.49328417206000e+03", "inf"), qzs, outOfRange(2)},
        {edit(bdsText, "E31: 944", "E31: 2147483000"), bds, outOfRange(23)},   // 1356 would overflow it
        {edit(galText, "E31: 1276", "E31: -1"), gal, outOfRange(11)},
        {edit(gloText, "1391421000.00", "nan"), glo, outOfRange(9)},
        {edit(gloText, "\tLte: 9.", "\tLte: inf 9."), glo, outOfRange(9)},
    };
    for (const auto& c : cases) {
        char message[kEphemerisMessageSize] = "stale"; EXPECT_FALSE(c.read(c.text, message)) << c.words;
        EXPECT_EQ(message, c.words) << c.text;
    }
}

}  // namespace
