// The keyed text record and its reduced scan.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "ephemeris/TextRecord.h"

namespace {

bool Parse(const std::string& text, TextRecord& record, FILE** keep = nullptr) {
    FILE* f = std::tmpfile();
    std::fputs(text.c_str(), f);
    std::rewind(f);
    const bool ok = record.Read(f);
    if (keep)
        *keep = f;
    else
        std::fclose(f);
    return ok;
}

TEST(TextRecord, FindsRecordsAndSkipsTheRest) {
    FILE* f = nullptr;
    TextRecord record;
    ASSERT_TRUE(Parse("$EPHV3B Ver9.00.2207 UBLOX2TRV\n"
                      "; a comment { not a record\n"
                      "\n"
                      "GpsIon {\n"
                      "\tCfa: 1 2 3 4 ; trailing words\n"
                      "\t; only a comment\n"
                      "}\n"
                      "too far along the line   { x\n"
                      "NoBlank{ x\n"
                      "Two words { Key: 1 }\n"
                      "STcorr { GPUT: 1.5 2.5 3 4 \"a b\" 6 }\n",
                      record, &f));
    EXPECT_STREQ(record.Token(), "GpsIon");
    ASSERT_EQ(record.LineCount(), 1);
    EXPECT_STREQ(record.LineAt(0).key, "Cfa:");
    EXPECT_EQ(record.LineAt(0).valueCount, 4);
    ASSERT_TRUE(record.Read(f));
    EXPECT_STREQ(record.Token(), "Two") << "the first word names a record of two words";
    ASSERT_TRUE(record.Read(f));
    EXPECT_STREQ(record.Token(), "STcorr");
    ASSERT_EQ(record.LineCount(), 1);
    EXPECT_EQ(record.LineAt(0).valueCount, 6);
    EXPECT_FALSE(record.Read(f));
    std::fclose(f);
}

TEST(TextRecord, ScanFieldConversions) {
    TextRecord record;
    ASSERT_TRUE(Parse("Tok { Key: 12 -3.5e-2\n"
                      "  key: 7,8,  9\n"
                      "  Name: \"two words\" x\n"
                      "  Dot: 12.75 .5\n"
                      "  Neg: -4 4000000000\n"
                      "  Chr: G12\n"
                      "  Empty:\n"
                      "}\n",
                      record));
    int a = 0, b = 0, c = 0;
    double d = 0.0;
    float f = 0.0f;
    unsigned u = 0;
    char text[kTextValueSize] = "", ch = 0;

    // The first unused line with the key, case ignored, then the next one.
    EXPECT_EQ(ScanField("KEY:", record, "%d%lf", &a, &d), 2);
    EXPECT_EQ(a, 12);
    EXPECT_DOUBLE_EQ(d, -3.5e-2);
    EXPECT_EQ(ScanField("Key:", record, "%d%d%d", &a, &b, &c), 3);   // commas separate
    EXPECT_EQ(b, 8);
    EXPECT_EQ(c, 9);
    EXPECT_EQ(ScanField("Key:", record, "%d", &a), -1);               // all used
    EXPECT_EQ(ScanField("Missing:", record, "%d", &a), -1);

    EXPECT_EQ(ScanField("Name:", record, "%s%c", text, &ch), 2);
    EXPECT_STREQ(text, "two words");
    EXPECT_EQ(ch, 'x');

    // '.' ends an integer conversion; a real takes it.
    EXPECT_EQ(ScanField("Dot:", record, "%d%d", &a, &b), 1);
    EXPECT_EQ(a, 12);
    record.LineAt(3).used = false;
    EXPECT_EQ(ScanField("Dot:", record, "%d%f%lf", &a, &f, &d), 3);
    EXPECT_FLOAT_EQ(f, 0.75f);
    EXPECT_DOUBLE_EQ(d, 0.5);
    record.LineAt(3).used = false;
    EXPECT_EQ(ScanField("Dot:", record, "%lf%lf", &d, &d), 2);
    EXPECT_DOUBLE_EQ(d, 0.5);

    EXPECT_EQ(ScanField("Neg:", record, "%d%u", &a, &u), 2);
    EXPECT_EQ(a, -4);
    EXPECT_EQ(u, 4000000000u);
    EXPECT_EQ(ScanField("Chr:", record, "%c%d", &ch, &a), 2);
    EXPECT_EQ(ch, 'G');
    EXPECT_EQ(a, 12);
    EXPECT_EQ(ScanField("Empty:", record, "%d", &a), 0);
    // Format blanks and line ends are ignored.
    record.LineAt(0).used = false;
    EXPECT_EQ(ScanField("Key:", record, "%d %lf\n", &a, &d), 2);
}

TEST(TextRecord, RecordCutShortAtEndOfFile) {
    TextRecord record;
    EXPECT_TRUE(Parse("GpsEph { Prn: 4\n\tE31: 1 2 3\n", record));
    EXPECT_EQ(record.LineCount(), 2);
    EXPECT_FALSE(Parse("no record here\n", record));
    EXPECT_FALSE(record.Read(nullptr));
}

}  // namespace
