#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "timebase/StationRecord.h"

namespace {

StationRecord Record(uint8_t kind, const char* name, uint8_t timeType = kTimeGps, const char* description = "",
                     const char* remark = "") {
    StationRecord r;
    memset(&r, 0, sizeof r);
    r.kind = kind;
    strcpy(r.name, name);
    strcpy(r.description, description);
    strcpy(r.remark, remark);
    r.timeType = timeType;
    r.week = -1;
    return r;
}

// Writes the record to a fresh file and checks the file's whole text, the
// result and the error text ("Disk full" is left there after a success).
void Check(const StationRecord& r, const std::string& text, int result = 0, const char* error = "Disk full") {
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    char errorText[512] = "";
    EXPECT_EQ(WriteStationRecord(f, &r, errorText), result);
    EXPECT_STREQ(errorText, error);
    std::string written;
    rewind(f);
    for (int ch; (ch = fgetc(f)) != EOF;) written += static_cast<char>(ch);
    fclose(f);
    EXPECT_EQ(written, text);
}

}  // namespace

TEST(WriteStationRecord, OpeningAndTimeLines) {
    StationRecord r = Record(kStaMark, "1", kTimeGps, "Rising Edge");
    r.time = 123456.789;
    r.week = 2210;
    Check(r, "Mrk {\n\tEvent: \"1\"\n\tDesc: \"Rising Edge\"\n\tGTim: 123456.789000 2210\n}\n");

    r = Record(kStaHeader, "Proj", kTimeNone, "", "ZED");  // a header needs no time
    strcpy(r.receiverSub, "F9P");
    r.week = 2048;
    Check(r, "Hdr {\n\tProj: \"Proj\"\n\tRxName: \"ZED\"\n\tRxSub: \"F9P\"\n}\n");
    r = Record(kStaHeader, "", kTimeUtc);
    r.week = 2048;
    r.time = 3 * 86400.0 + 45296.2;
    Check(r, "Hdr {\n\tTime: 12:34:56\n\tDate: 04/10/2019\n}\n");

    r = Record(kStaStation, "BASE", kTimeUtc, "", "pillar");
    r.time = 10.5;
    Check(r, "Sta {\n\tID: \"BASE\"\n\tRem: \"pillar\"\n\tUTim: 10.500000\n}\n");

    r = Record(kStaMark, "");  // names of full length carry no terminator
    memset(r.name, 'N', sizeof r.name);
    memset(r.description, 'D', sizeof r.description);
    Check(r, "Mrk {\n\tEvent: \"" + std::string(64, 'N') + "\"\n\tDesc: \"" + std::string(64, 'D') +
                 "\"\n\tGTim: 0.000000\n}\n");
}

TEST(WriteStationRecord, RefusedRecords) {
    StationRecord r = Record(kStaMark, "7", kTimeNone);
    r.positionMode = 1;  // nothing after the time line is written
    Check(r, "Mrk {\n\tEvent: \"7\"\n}\n", 1, "Cannot write record--missing time");
    r.timeType = kTimeLocal;
    Check(r, "Mrk {\n\tEvent: \"7\"\n}\n", 1, "Local time not supported in NewSta format");
    Check(Record(kStaStation, ""), "", 1, "Missing station name");
    Check(Record(kStaBody, ""), "", 1, "Missing event name");

    FILE* full = fopen("/dev/full", "w");
    if (full == nullptr) GTEST_SKIP() << "/dev/full is absent";
    setvbuf(full, nullptr, _IONBF, 0);  // so the first write meets the full device
    char error[512] = "";
    r = Record(kStaMark, "1");
    EXPECT_EQ(WriteStationRecord(full, &r, error), 1);
    EXPECT_STREQ(error, "Disk full");
    fclose(full);
}

TEST(WriteStationRecord, PositionHeightAndAntennaLines) {
    StationRecord r = Record(kStaBody, "x");  // no opening line at all
    r.week = 5;
    r.latitude = 47.123456789;
    r.longitude = -8.5;
    r.positionHeight = 412.3456;
    r.positionMode = 6;
    r.heightReference = 1;
    r.heightType = 2;
    r.height = 1.23456;
    r.antennaValueB = 0.25f;  // B is written first
    strcpy(r.antenna, "TRM55971.00     NONE");
    Check(r, "\tGTim: 0.000000 5\n\tPos: 47.12345679 -8.50000000 412.346 ELL\n\tMode: FIX\n"
             "\tHi: 1.2346 SLANT\n\tAnt: 0.2500 0.0000 \"TRM55971.00     NONE\"\n}\n");

    r = Record(kStaBody, "x", 7);  // unknown time types count as GPS
    r.positionMode = 9;
    r.heightType = 1;
    r.antennaValueA = 0.5f;
    Check(r, "\tGTim: 0.000000\n\tPos: 0.00000000 0.00000000 0.000 \n\tMode: UNK\n"
             "\tHi: 0.0000 VERT\n\tAnt: 0.0000 0.5000 \"\"\n}\n");

    r.positionMode = 0;
    r.heightType = 3;  // the model replaces the Ant line
    r.height = 1.5;
    r.antExValues[0] = 1;
    r.antExValues[1] = -2;
    r.antExValues[2] = 3;
    r.antExValue = 0.125f;
    strcpy(r.antenna, "ANT");
    Check(r, "\tGTim: 0.000000\n\tHi: 1.5000 KESTREL\n\tAntEx: 1 -2 3 0.1250 0.0000 \"ANT\"\n}\n");
}
