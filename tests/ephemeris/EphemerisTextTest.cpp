// The .epp text records of the five classes: stable round trips at the
// current version, the older layouts, and the words of the validity checks.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "SampleRecords.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"

namespace {

std::string Written(const GNSS::IEphemeris& e) {
    FILE* f = std::tmpfile();
    EXPECT_TRUE(e.WriteRecord(f));
    std::string text(static_cast<size_t>(std::ftell(f)), '\0');
    std::rewind(f);
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), f), text.size());
    std::fclose(f);
    return text;
}

bool Parse(const std::string& text, TextRecord& record) {
    FILE* f = std::tmpfile();
    std::fputs(text.c_str(), f);
    std::rewind(f);
    const bool ok = record.Read(f);
    std::fclose(f);
    return ok;
}

// Reads text into a fresh object by reader(record, message) and writes it again.
template <typename T>
std::string Reread(const std::string& text, int version, bool& ok, char* message,
                   const std::function<bool(T&, TextRecord&, int, char*)>& reader) {
    static TextRecord record;
    EXPECT_TRUE(Parse(text, record));
    T object;
    ok = reader(object, record, version, message);
    return ok ? Written(object) : std::string();
}

template <typename T>
bool PlainRead(T& object, TextRecord& record, int version, char* message) {
    return object.ReadRecord(record, version, message);
}

bool GloRead(GNSS::CEphemerisGLO& object, TextRecord& record, int version, char* message) {
    GpsTimeRange none;
    return object.ReadRecord(record, version, none, 0.0, false, message);
}

GloEphemerisRecord ResolvedGlonassRecord() {
    GloEphemerisRecord r = sample::Glonass();
    r.gpsWeek = 2300;
    r.gpsSeconds = 381618.0;
    r.hasReceptionTime = true;
    r.receptionTime = 2300 * 604800.0 + 381000.0;
    r.tauC = -2.793967723846e-09;
    r.NT = 812;
    return r;
}

TEST(EphemerisText, WriteReadWriteIsStableForEveryClass) {
    char message[kEphemerisMessageSize];
    bool ok = false;
    struct Case {
        const char* name;
        std::string first;
        std::function<std::string()> again;
    };
    GalEphemerisRecord fNavOnly = sample::Galileo();
    fNavOnly.iNavValid = false;
    fNavOnly.iNavToc = 0;
    fNavOnly.iNavAf0 = fNavOnly.iNavAf1 = 0.0;
    GloEphemerisRecord noReception = ResolvedGlonassRecord();
    noReception.hasReceptionTime = false;
    noReception.receptionTime = 0.0;

    const Case cases[] = {
        {"GPS", Written(GNSS::CEphemerisGPS(sample::Gps())), nullptr},
        {"QZSS", Written(GNSS::CEphemerisQZSS(sample::QzssQuasiZenith())), nullptr},
        {"BeiDou", Written(GNSS::CEphemerisBDS(sample::BeiDouMeo())), nullptr},
        {"Galileo", Written(GNSS::CEphemerisGAL(sample::Galileo())), nullptr},
        {"Galileo F/NAV", Written(GNSS::CEphemerisGAL(fNavOnly)), nullptr},
        {"GLONASS", Written(GNSS::CEphemerisGLO(ResolvedGlonassRecord())), nullptr},
        {"GLONASS no reception", Written(GNSS::CEphemerisGLO(noReception)), nullptr},
    };
    for (const Case& c : cases) {
        std::string second;
        const std::string token = c.first.substr(0, 6);
        if (token == "GpsEph")
            second = Reread<GNSS::CEphemerisGPS>(c.first, 2, ok, message, PlainRead<GNSS::CEphemerisGPS>);
        else if (token == "QzsEph")
            second = Reread<GNSS::CEphemerisQZSS>(c.first, 2, ok, message, PlainRead<GNSS::CEphemerisQZSS>);
        else if (token == "BdsEph")
            second = Reread<GNSS::CEphemerisBDS>(c.first, 2, ok, message, PlainRead<GNSS::CEphemerisBDS>);
        else if (token == "GalEph")
            second = Reread<GNSS::CEphemerisGAL>(c.first, 2, ok, message, PlainRead<GNSS::CEphemerisGAL>);
        else
            second = Reread<GNSS::CEphemerisGLO>(c.first, 2, ok, message, GloRead);
        ASSERT_TRUE(ok) << c.name << ": " << message << "\n" << c.first;
        EXPECT_EQ(second, c.first) << c.name;
    }
}

TEST(EphemerisText, WrittenLayout) {
    const std::string gps = Written(GNSS::CEphemerisGPS(sample::Gps()));
    EXPECT_EQ(gps,
              "GpsEph { Prn: 5\n"
              "\tE31: 2300 345600 -1.11758709e-08\n"
              "\tE32: 77 345600 -1.23431813e-04 -3.41060513e-12 0.00000000e+00\n"
              "\tE33: 77 5.15365531158000e+03 1.02386563178000e-02\n"
              "\tE34: 8.12345678901000e-01 -2.01234567891000e+00 -8.10212347018000e-09\n"
              "\tE35: 9.61622154371000e-01 2.10723348e-10 4.51304515e-09 1.23456789012000e+00\n"
              "\tE36: -1.21630728e-06 2.30531250e+02 1.11758709e-07\n"
              "\tE37: 7.51577318e-06 -2.23437500e+01 -5.21540642e-08\n"
              "}\n");
    const std::string glo = Written(GNSS::CEphemerisGLO(ResolvedGlonassRecord()));
    EXPECT_NE(glo.find("GloEph { Prn: 9 0\n\tGPS: 2300 381618.0\n\tTkb: 45000 46800   1391421000.00\n"),
              std::string::npos)
        << glo;
    GloEphemerisRecord noReception = ResolvedGlonassRecord();
    noReception.hasReceptionTime = false;
    EXPECT_NE(Written(GNSS::CEphemerisGLO(noReception)).find("\tTkb: 45000 46800 \n"), std::string::npos);
    const std::string bds = Written(GNSS::CEphemerisBDS(sample::BeiDouMeo()));
    EXPECT_EQ(bds.substr(0, 41), "BdsEph { Prn: 23 0\n\tE30: 2300 345614.000\n");
    EXPECT_FALSE(GNSS::CEphemerisGPS(sample::Gps()).WriteRecord(nullptr));
}

const std::string kGpsVersionZero =
    "GpsEph { Prn: 12\n"
    "  El1: 253 0 -1.1175870895e-08 221 302400\n"
    "  El2: 0.0 -1.136868377216e-12 -5.0412863493e-05\n"
    "  El3: 221 -85.6875 4.6e-09 -2.87\n"
    "  El4: -4.4703483582e-06 5.8e-03 8.9e-06 5153.7\n"
    "  El5: 0 5.9e-08 1.02 -1.5e-08\n"
    "  El6: 0.95 210.2 -1.7 -8.2e-09 2.1e-10\n"
    "}\n";

TEST(EphemerisText, GpsVersionZeroRecord) {
    TextRecord record;
    ASSERT_TRUE(Parse(kGpsVersionZero, record));
    GNSS::CEphemerisGPS gps;
    char message[kEphemerisMessageSize];
    ASSERT_TRUE(gps.ReadRecord(record, 0, message)) << message;
    const KeplerElements& k = gps.Record().elements;
    // A toe of zero belongs to the next week; the 10-bit week is widened.
    EXPECT_EQ(k.week % 1024, 254);
    EXPECT_GE(k.week, 2048);
    EXPECT_EQ(k.toe, 0);
    EXPECT_EQ(k.toc, 302400);
    EXPECT_EQ(k.IODC, 221);
    EXPECT_DOUBLE_EQ(k.af0, -5.0412863493e-05);
    EXPECT_DOUBLE_EQ(k.af2, 0.0);
    EXPECT_DOUBLE_EQ(k.Crs, -85.6875);
    EXPECT_DOUBLE_EQ(k.sqrtA, 5153.7);
    EXPECT_DOUBLE_EQ(k.Omega0, 1.02);
    EXPECT_DOUBLE_EQ(k.IDOT, 2.1e-10);
}

TEST(EphemerisText, VersionOneRecords) {
    // GPS: E31 holds an extra integer at version 1.
    const char* gpsText =
        "GpsEph { Prn: 7\n"
        "\tE31: 2300 345600 99 -1.5e-08\n"
        "\tE32: 5 345600 1e-05 0 0\n\tE33: 5 5153.6 0.01\n\tE34: 1 2 -8e-09\n"
        "\tE35: 0.96 0 4e-09 1.5\n\tE36: 0 0 0\n\tE37: 0 0 0\n}\n";
    TextRecord record;
    ASSERT_TRUE(Parse(gpsText, record));
    GNSS::CEphemerisGPS gps;
    char message[kEphemerisMessageSize];
    ASSERT_TRUE(gps.ReadRecord(record, 1, message)) << message;
    EXPECT_DOUBLE_EQ(gps.Record().elements.TGD, -1.5e-08);
    // At version 2 the same line is read by the current layout: 99 is the TGD.
    ASSERT_TRUE(Parse(gpsText, record));
    ASSERT_TRUE(gps.ReadRecord(record, 2, message));
    EXPECT_DOUBLE_EQ(gps.Record().elements.TGD, 99.0);

    // BeiDou: the lines one key further on; the GPS time is derived again.
    const char* bdsText =
        "BdsEph { Prn: 14 0\n"
        "\tE31: 1 2\n"
        "\tE32: 944 604790 2.4 8.1e-09 -2.2e-09\n"
        "\tE33: 1 604800 2.5e-04 1e-11 0\n"
        "\tE34: 1 5282.6 0.001\n\tE35: 1 2 -7e-09\n\tE36: 0.96 0 3e-09 0.5\n"
        "\tE37: 1e-06 100.5 1e-08\n\tE38: 2e-06 -12.5 -1e-08\n}\n";
    ASSERT_TRUE(Parse(bdsText, record));
    GNSS::CEphemerisBDS bds;
    ASSERT_TRUE(bds.ReadRecord(record, 1, message)) << message;
    EXPECT_EQ(bds.Record().gpsWeek, 2301);
    EXPECT_DOUBLE_EQ(bds.Record().gpsSeconds, 4.0);
    EXPECT_DOUBLE_EQ(bds.Record().ura, 2.4);
    EXPECT_DOUBLE_EQ(bds.Record().tgd2, -2.2e-09);
    EXPECT_DOUBLE_EQ(bds.Record().elements.Crc, 100.5);
    EXPECT_DOUBLE_EQ(bds.Record().elements.Cis, -1e-08);
    // Version 0 has no BeiDou layout; it is refused without words.
    EXPECT_FALSE(bds.ReadRecord(record, 0, message));
    EXPECT_STREQ(message, "");
}

TEST(EphemerisText, GlonassReaderAsymmetries) {
    std::string text = Written(GNSS::CEphemerisGLO(ResolvedGlonassRecord()));
    text.replace(text.find("Prn: 9 0"), 8, "Prn: 46 7");
    text.replace(0, 6, "GlnEph");
    text.replace(text.find("\tGPS:"), text.find("\tTkb:") - text.find("\tGPS:"), "");
    text.replace(text.find("-2.793967723846000e-09"), 22, "1.0e-4");
    TextRecord record;
    ASSERT_TRUE(Parse(text, record));
    GNSS::CEphemerisGLO glo;
    char message[kEphemerisMessageSize];
    GpsTimeRange none;
    ASSERT_TRUE(glo.ReadRecord(record, 2, none, 0.0, true, message)) << message;
    EXPECT_EQ(glo.Record().prn, 9);      // GlnEph slots count from 38
    EXPECT_EQ(glo.Record().spare, 7);
    EXPECT_EQ(glo.Record().gpsWeek, 0);  // no GPS: line
    EXPECT_DOUBLE_EQ(glo.Record().tauC, 0.0);   // implausible tau-c dropped
    EXPECT_FALSE(glo.IsValid(nullptr));
    // Lte values are single precision.
    EXPECT_EQ(glo.Record().minusTau, sample::Glonass().minusTau);

    // With a range and leap seconds the file entry point resolves the time.
    GpsTimeRange range;
    range.Set(2300, 380000.0, 2300, 390000.0);
    ASSERT_TRUE(Parse(text, record));
    ASSERT_TRUE(glo.ReadRecord(record, 2, range, 18.0, true, message)) << message;
    EXPECT_EQ(glo.Record().gpsWeek, 2300);
    EXPECT_TRUE(glo.IsValid(message));

    struct {
        const char* from;
        const char* to;
        const char* words;
    } const faults[] = {
        {"GlnEph", "GpsEph", "Error: Not a GLONASS ephemeris record"},
        {"Prn: 46 7", "Prn: 70 7", "Error: Invalid GLONASS PRN 33--Ephemeris record ignored"},
        {"Prn: 46 7", "Prn: 46", ""},
        {"\tFlg: 3 0\n", "", ""},
    };
    for (const auto& f : faults) {
        std::string broken = text;
        broken.replace(broken.find(f.from), std::strlen(f.from), f.to);
        ASSERT_TRUE(Parse(broken, record));
        EXPECT_FALSE(glo.ReadRecord(record, 2, range, 18.0, true, message)) << f.to;
        EXPECT_STREQ(message, f.words);
    }
}

TEST(EphemerisText, GalileoOptionalLines) {
    const std::string full = Written(GNSS::CEphemerisGAL(sample::Galileo()));
    const size_t gf1 = full.find("\tGF1:"), gi1 = full.find("\tGI1:"), gi2 = full.find("\tGI2:");
    const size_t end = full.find("}\n");
    TextRecord record;
    GNSS::CEphemerisGAL gal;
    char message[kEphemerisMessageSize];

    // GI1 without GI2 fails.
    ASSERT_TRUE(Parse(full.substr(0, gi2) + "}\n", record));
    EXPECT_FALSE(gal.ReadRecord(record, 2, message));
    // Neither part: read to the end, then refused by the validity check.
    ASSERT_TRUE(Parse(full.substr(0, gf1) + "}\n", record));
    EXPECT_FALSE(gal.ReadRecord(record, 2, message));
    EXPECT_STREQ(message, "Error: both F/NAV and I/NAV parameters are not valid");
    // A short GF1 line still gives its BGD, but not the flag.
    ASSERT_TRUE(Parse(full.substr(0, gf1) + "\tGF1: 1 3.5e-09\n" + full.substr(gi1, end - gi1) + "}\n", record));
    ASSERT_TRUE(gal.ReadRecord(record, 2, message)) << message;
    EXPECT_DOUBLE_EQ(gal.Record().bgdE1E5a, 3.5e-09);
    EXPECT_FALSE(gal.Record().fNavValid);
    EXPECT_TRUE(gal.Record().iNavValid);
}

TEST(EphemerisText, ReaderWords) {
    struct Case {
        const char* name;
        std::string text;
        std::function<bool(TextRecord&, char*)> read;
        std::string words;
    };
    auto gps = [](TextRecord& r, char* m) { return GNSS::CEphemerisGPS().ReadRecord(r, 2, m); };
    auto qzs = [](TextRecord& r, char* m) { return GNSS::CEphemerisQZSS().ReadRecord(r, 2, m); };
    auto bds = [](TextRecord& r, char* m) { return GNSS::CEphemerisBDS().ReadRecord(r, 2, m); };
    auto gal = [](TextRecord& r, char* m) { return GNSS::CEphemerisGAL().ReadRecord(r, 2, m); };
    const std::string gpsText = Written(GNSS::CEphemerisGPS(sample::Gps()));
    const std::string qzsText = Written(GNSS::CEphemerisQZSS(sample::QzssQuasiZenith()));
    const std::string bdsText = Written(GNSS::CEphemerisBDS(sample::BeiDouMeo()));
    const std::string galText = Written(GNSS::CEphemerisGAL(sample::Galileo()));
    const std::string gloText = Written(GNSS::CEphemerisGLO(ResolvedGlonassRecord()));
    auto gps0 = [](TextRecord& r, char* m) { return GNSS::CEphemerisGPS().ReadRecord(r, 0, m); };
    auto glo = [](TextRecord& r, char* m) { return GloRead(*std::make_unique<GNSS::CEphemerisGLO>(), r, 2, m); };
    auto outOfRange = [](int prn) {
        return "Error: Ephemeris record of PRN " + std::to_string(prn) +
               " holds a value out of range--Ephemeris record ignored";
    };
    auto edit = [](std::string s, const char* from, const char* to) {
        s.replace(s.find(from), std::strlen(from), to);
        return s;
    };
    const Case cases[] = {
        {"GPS token", gpsText, qzs, "Error: Not a QZSS ephemeris record"},
        {"GPS prn", edit(gpsText, "Prn: 5", "Prn: 33"), gps, "Warning: Invalid GPS PRN 33--Ephemeris record ignored"},
        {"GPS rootA", edit(gpsText, "5.15365531158000e+03", "6001.0"), gps,
         "Warning: Possible bad ephemeris record for PRN 5 (ROOTA=6001.0)"},
        {"GPS line", edit(gpsText, "\tE36: -1.21630728e-06 ", "\tE36: "), gps, ""},
        {"QZSS prn", edit(qzsText, "Prn: 2", "Prn: 11"), qzs, "Warning: Invalid QZSS PRN 11--Ephemeris record ignored"},
        {"QZSS rootA", edit(qzsText, "6.49328417206000e+03", "5153.0"), qzs,
         "Error: Invalid ephemeris data PRN 2 (ROOTA = 5153.0)"},
        {"BeiDou token", qzsText, bds, "Error: Not a GPS ephemeris record"},
        {"BeiDou prn", edit(bdsText, "Prn: 23 0", "Prn: 64 0"), bds,
         "Warning: Invalid GPS PRN 64--Ephemeris record ignored"},
        {"BeiDou rootA", edit(bdsText, "5.28262637329000e+03", "7000.5"), bds,
         "Warning: Possible bad ephemeris record for PRN 23 (ROOTA=7000.5)"},
        {"BeiDou satH1 of BS1 wins", edit(bdsText, "4.85000000e+00 -3.10000000e-09 0", "4.85 -3.1e-09 1"), bds, ""},
        {"Galileo token", gpsText, gal, "Error: Not a EGS ephemeris record"},
        {"Galileo prn", edit(galText, "Prn: 11", "Prn: 37"), gal, "Warning: Invalid EGS PRN 37--Ephemeris record ignored"},
        // Numbers no broadcast holds never reach the time and orbit arithmetic.
        {"GPS nan", edit(gpsText, "8.12345678901000e-01", "nan"), gps, outOfRange(5)},
        {"GPS week at the integer limit", edit(gpsText, "E31: 2300", "E31: 2147483647"), gps, outOfRange(5)},
        {"GPS version 0 week that a toe of 0 would raise", edit(kGpsVersionZero, "El1: 253", "El1: 2147483647"),
         gps0, outOfRange(12)},
        {"QZSS inf", edit(qzsText, "6.49328417206000e+03", "inf"), qzs, outOfRange(2)},
        {"BeiDou week that 1356 would overflow", edit(bdsText, "E31: 944", "E31: 2147483000"), bds, outOfRange(23)},
        {"Galileo -inf", edit(galText, "E31: 1276", "E31: -1"), gal, outOfRange(11)},
        {"GLONASS nan reception time", edit(gloText, "1391421000.00", "nan"), glo, outOfRange(9)},
        {"GLONASS inf gamma", edit(gloText, "\tLte: 9.", "\tLte: inf 9."), glo, outOfRange(9)},
    };
    for (const Case& c : cases) {
        TextRecord record;
        ASSERT_TRUE(Parse(c.text, record)) << c.name;
        char message[kEphemerisMessageSize] = "stale";
        EXPECT_FALSE(c.read(record, message)) << c.name;
        EXPECT_EQ(message, c.words) << c.name;
    }
    // A QZSS record without JS1 reads.
    TextRecord record;
    ASSERT_TRUE(Parse(edit(qzsText, "\tJS1:", "\tXX1:"), record));
    GNSS::CEphemerisQZSS q;
    char message[kEphemerisMessageSize];
    EXPECT_TRUE(q.ReadRecord(record, 2, message)) << message;
    EXPECT_DOUBLE_EQ(q.Record().ura, 0.0);
}

}  // namespace
