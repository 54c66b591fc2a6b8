// The station file writer promises: each record kind opens with its own lines,
// then come the time, position, height and antenna lines it holds and a closing
// brace; a record without a name or a usable time is refused with its reason.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "timebase/StationRecord.h"

// Records name only the fields they fill; the rest are zero, as the decoders leave them.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// The whole text written for the record, "=", the result and the error text
// ("Disk full" stays there after a success).
static std::string Written(const StationRecord& r) {
    FILE* f = tmpfile();
    char error[512] = "";
    // Appended, not summed: g++ 12 at -O3 sees a false overlap in "=" + string.
    const std::string result = std::string("=").append(std::to_string(WriteStationRecord(f, &r, error))).append(" ");
    const std::string all = result + error;
    std::string text;
    rewind(f);
    for (int ch; (ch = fgetc(f)) != EOF;) text += static_cast<char>(ch);
    fclose(f);
    return text + all;
}

TEST(WriteStationRecord, OpeningAndTimeLinesOrTheRefusal) {
    const StationRecord mark{.kind = kStaMark, .name = "1", .description = "Rising Edge", .timeType = kTimeGps,
                             .time = 123456.789, .week = 2210};
    EXPECT_EQ(Written(mark),
              "Mrk {\n\tEvent: \"1\"\n\tDesc: \"Rising Edge\"\n\tGTim: 123456.789000 2210\n}\n=0 Disk full");
    // A header needs no time, and takes one only with a week.
    const StationRecord names{.kind = kStaHeader, .name = "Proj", .remark = "ZED", .receiverSub = "F9P", .week = 2048};
    EXPECT_EQ(Written(names), "Hdr {\n\tProj: \"Proj\"\n\tRxName: \"ZED\"\n\tRxSub: \"F9P\"\n}\n=0 Disk full");
    const StationRecord dated{.kind = kStaHeader, .timeType = kTimeUtc, .time = 3 * 86400.0 + 45296.2, .week = 2048};
    EXPECT_EQ(Written(dated), "Hdr {\n\tTime: 12:34:56\n\tDate: 04/10/2019\n}\n=0 Disk full");
    const StationRecord station{.kind = kStaStation, .name = "BASE", .remark = "pillar", .timeType = kTimeUtc,
                                .time = 10.5, .week = -1};
    EXPECT_EQ(Written(station), "Sta {\n\tID: \"BASE\"\n\tRem: \"pillar\"\n\tUTim: 10.500000\n}\n=0 Disk full");
    StationRecord full{.kind = kStaMark, .timeType = kTimeGps, .week = -1};  // names of full length carry no terminator
    memset(full.name, 'N', sizeof full.name);
    memset(full.description, 'D', sizeof full.description);
    EXPECT_EQ(Written(full), "Mrk {\n\tEvent: \"" + std::string(64, 'N') + "\"\n\tDesc: \"" + std::string(64, 'D') +
                                 "\"\n\tGTim: 0.000000\n}\n=0 Disk full");
    StationRecord r{.kind = kStaMark, .name = "7", .timeType = kTimeNone, .positionMode = 1};
    EXPECT_EQ(Written(r), "Mrk {\n\tEvent: \"7\"\n}\n=1 Cannot write record--missing time");  // and nothing after it
    r.timeType = kTimeLocal;
    EXPECT_EQ(Written(r), "Mrk {\n\tEvent: \"7\"\n}\n=1 Local time not supported in NewSta format");
    EXPECT_EQ(Written(StationRecord{.kind = kStaStation}) + Written(StationRecord{.kind = kStaBody}),
              "=1 Missing station name=1 Missing event name");
}

TEST(WriteStationRecord, PositionHeightAndAntennaLines) {
    // A body has no opening line; the Ant line gives value B first.
    const StationRecord slant{.kind = kStaBody, .name = "x", .timeType = kTimeGps, .week = 5, .heightType = 2,
                              .height = 1.23456, .antenna = "TRM55971.00     NONE", .antennaValueB = 0.25f,
                              .positionMode = 6, .latitude = 47.123456789, .longitude = -8.5,
                              .positionHeight = 412.3456, .heightReference = 1};
    EXPECT_EQ(Written(slant), "\tGTim: 0.000000 5\n\tPos: 47.12345679 -8.50000000 412.346 ELL\n\tMode: FIX\n"
                              "\tHi: 1.2346 SLANT\n\tAnt: 0.2500 0.0000 \"TRM55971.00     NONE\"\n}\n=0 Disk full");
    // Unknown time types count as GPS.
    const StationRecord vertical{.kind = kStaBody, .name = "x", .timeType = 7, .week = -1, .heightType = 1,
                                 .antennaValueA = 0.5f, .positionMode = 9};
    EXPECT_EQ(Written(vertical), "\tGTim: 0.000000\n\tPos: 0.00000000 0.00000000 0.000 \n\tMode: UNK\n"
                                 "\tHi: 0.0000 VERT\n\tAnt: 0.0000 0.5000 \"\"\n}\n=0 Disk full");
    // The antenna model replaces the Ant line.
    const StationRecord model{.kind = kStaBody, .name = "x", .timeType = kTimeGps, .week = -1, .heightType = 3,
                              .height = 1.5, .antenna = "ANT", .antExValues = {1, -2, 3}, .antExValue = 0.125f};
    EXPECT_EQ(Written(model),
              "\tGTim: 0.000000\n\tHi: 1.5000 KESTREL\n\tAntEx: 1 -2 3 0.1250 0.0000 \"ANT\"\n}\n=0 Disk full");
}
