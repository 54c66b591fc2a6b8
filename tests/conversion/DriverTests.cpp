// What a host sees. One call of ConvertFile turns a log into the .trv, .epp and .sta files beside each other (their
// names made from the host's one name by replacing its extension, with either folder separator), reports progress
// per 2048-byte block, passes only the words the host asked for, stops on an abort with complete files, and refuses
// what it cannot do before anything is written. A quick probe tells whether a file holds UBX frames. (ExportsTests
// loads the shared library as a host does.)
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Harness.h"
#include "conversion/FileNames.h"
#include "conversion/HostMessages.h"
#include "simulation/UbxWriter.h"
#include "support/TestPaths.h"

using namespace simulation;
using convtest::ReadText;

namespace {

const std::string kStationFirstLine = "$STAINFO Ver 9.00.2207 UBLOX2TRV U-blox\n";
const char kEphemerisHeader[] = "$EPHV3B Ver9.00.2207 UBLOX2TRV U-Blox\n";
const std::string kNmea = "$GPGGA,115739.00,4158.8441367,N,09147.4416929,W,4,13,0.9,255.747,M,-32.00,M,01,0000*6E\r\n";

// One RXM-RAWX a second with a position from second 3 on, marks, NMEA, unknown records, garbage, a damaged epoch
// (7) and one in week 0 (9). Second k holds G02 L1 and L2 (CL, then CM on the same slot), R03 L2 and L1 (channel 3),
// E11 E5b, C21 and J02 with every tracking state, and a GPS L5 and a GLONASS slot 255 block that the conversion leaves
// out. Block n carries values of its own; its deviation codes have high bits that are no part of them.
struct SyntheticLog {
    UbxLog log;
    std::string marks;  // the Mrk records it gives
};

SyntheticLog BuildLog() {
    SyntheticLog s;
    const Bytes nmea(kNmea.begin(), kNmea.end());
    s.log.Add(Garbage(100, 1)).Add(nmea);
    for (int k = 0; k < 40; ++k) {
        if (k == 3) s.log.Add(MakeNavPosllh(1000, 47.3765432, 8.5476543, 512.345));
        std::vector<RawxBlock> blocks;
        const uint8_t rows[][5] = {{0, 2, 0, 7, 0},  {0, 2, 3, 7, 0}, {0, 2, 4, 1, 0},   {6, 3, 2, 3, 10},
                                   {2, 11, 6, 5, 0}, {3, 21, 0, 0, 0}, {5, 2, 0, 7, 0},   {0, 1, 6, 7, 0},
                                   {6, 255, 0, 7, 0}, {6, 3, 0, 7, 10}};  // gnssId, svId, sigId, trkStat, freqId
        for (uint8_t n = 3; n < 13; ++n) {  // block n
            const uint8_t* row = rows[n - 3];
            RawxBlock& b = blocks.emplace_back();
            b.gnssId = row[0], b.svId = row[1], b.sigId = row[2], b.trkStat = row[3], b.freqId = row[4];
            b.prMes = 2.1e7 + 0.5 * k + 100 * n, b.cpMes = 1.1e8 + 0.25 * k + n, b.doMes = -500.25f + n;
            b.locktime = static_cast<uint16_t>(250 * n * k);
            b.cno = static_cast<uint8_t>(30 + n), b.prStdev = 0xF0 | n, b.cpStdev = 0x30 | n;
        }
        const Bytes frame = MakeRxmRawx(345600.0 - 0.0021 + k, k == 9 ? 0 : 2100, blocks);
        s.log.Add(k == 7 ? BreakChecksum(frame) : frame);
        if (k % 10 == 5) {
            s.log.Add(MakeTimTm2(TimeMark{0x40, 2100, 0, static_cast<uint32_t>(345600500 + 1000 * k), 125}));
            char mark[160];
            std::snprintf(mark, sizeof mark, "Mrk {\n\tEvent: \"%d\"\n\tDesc: \"Rising Edge\"\n\tGTim: %.6f 2100\n}\n",
                          k / 10 + 1, 345600.5 + k + 125e-9);
            s.marks += mark;
        }
        if (k == 12) s.log.Add(MakeTimTm2(TimeMark{0x20, 2100, 2100, 1}));  // no valid time
        s.log.Add(MakeUnknownFrame()).Add(nmea).Add(Garbage(37, k + 2));
    }
    return s;
}

struct HostRecord {
    std::vector<std::pair<double, std::string>> messages;
    std::vector<std::pair<int, int>> progress;
    int abortAtProgressCall = -1;
} host;

class DriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        host = HostRecord();
        SetPaths("log.ubx", "out.trv");
    }
    void SetPaths(const std::string& input, const std::string& output) {
        params = convtest::MakeParams(dir.File(input), dir.File(output));
        // The conversion alone: the checks after it have tests of their own.
        params.options.runChecks = 0;
    }
    int Convert(const UbxLog& log) {
        EXPECT_TRUE(log.Save(params.inputFile));
        return ublox2trv::ConvertFile(&params, &callbacks);
    }
    std::string Error() const {
        char text[512];
        ublox2trv::GetErrString(text);
        return text;
    }
    // The epochs the byte-by-byte scan decodes from the first bytes of the log.
    std::vector<CGnssEpoch> Decoded(const UbxLog& log, size_t n) {
        return convtest::DecodeByteByByte({log.Data().begin(), log.Data().begin() + long(n)}, params.options);
    }
    ubxtest::TempDir dir;
    ConvertParams params;
    ConvertCallbacks callbacks{UBLOX2TRV_CALLBACKS_SIZE, {},
                               [](double time, const char* text) { host.messages.emplace_back(time, text); },
                               [](int done, int total) {
                                   host.progress.emplace_back(done, total);
                                   if (int(host.progress.size()) == host.abortAtProgressCall) ublox2trv::Abort();
                               },
                               {}};
};

}  // namespace

TEST_F(DriverTest, ConvertsASyntheticLogEndToEnd) {
    const DecoderOptions defaults = convtest::MakeParams("", "").options;
    EXPECT_EQ(std::tie(defaults.motionMode, defaults.logAllMessages, defaults.runChecks), std::make_tuple(2, 0, 1));
    SyntheticLog s = BuildLog();
    ASSERT_EQ(Convert(s.log), 0) << Error();
    EXPECT_EQ(params.epochsWritten, 38);
    EXPECT_EQ(params.eventsWritten, 4);
    EXPECT_EQ(params.ephemeridesWritten, 0);
    EXPECT_EQ(ReadText(dir.File("out.sta")), kStationFirstLine + s.marks);
    EXPECT_EQ(ReadText(dir.File("out.epp")), kEphemerisHeader);
    const std::vector<CGnssEpoch> decoded = Decoded(s.log, s.log.Data().size());
    convtest::ExpectRawFile(dir.File("out.trv"), decoded);
    // Only the level-2 words of the damaged frame reach a host that did not ask for all messages.
    EXPECT_EQ(host.messages, (decltype(host.messages){{-1.0, "Checksum failure on 'MEASUREMENTX' record (0x15)"}}));
    // Progress after every 2048-byte block and once more at the end.
    const int total = static_cast<int>(s.log.Data().size());
    ASSERT_NE(total % 2048, 0);
    decltype(host.progress) expected;
    for (int done = 2048; done < total; done += 2048) expected.emplace_back(done, total);
    expected.insert(expected.end(), 2, {total, total});
    EXPECT_EQ(host.progress, expected);
    // Seconds 0 and 4 by hand: the nominal time rounded to 50 ms, the phase of the other sign, a lock time of 0
    // absent, deviations of 2^n * (n * 0.01) m and n * 0.004 cycles. Block n: pseudorange 2.1e7 + 2 + 100 n, phase
    // 1.1e8 + 1 + n, lock time n s, cn0 30 + n, doppler n - 500.25.
    EXPECT_EQ(decoded[0].GetSatellite({kGps, 2})->GetSignal(0)->flags, 511u & ~kSigLockTime);
    const CGnssEpoch& e = decoded[4];
    EXPECT_EQ(std::tie(e.week, e.flags, e.rcvTimeMs),
              std::make_tuple(2100, kEpochWeekValid | kEpochPositionValid, 345604000u));
    EXPECT_EQ(std::tie(e.rawRcvTime, e.trueRcvTime), std::make_tuple(345603.9979, 345603.9979));
    EXPECT_NEAR(e.position.latitude, 47.3765432, 1e-12);
    EXPECT_NEAR(e.position.longitude, 8.5476543, 1e-12);
    EXPECT_NEAR(e.position.height, 512.345, 1e-9);
    EXPECT_EQ(e.satelliteList.size(), 5u);
    const uint32_t all = 511, noPhase = all & ~(kSigPhaseResolved | kSigPhaseValue), none = noPhase & ~kSigPseudorange;
    const struct {
        SatelliteId sat;
        GnssSignalId id;
        int n;
        uint32_t flags;
        double pseudorange, phase;
        float prStdDev;
    } signals[] = {{{kGps, 2}, 0, 3, all, 21000302, -110000004, 0.24f},
                   {{kGps, 2}, 3, 5, noPhase, 21000502, 0, 1.6f},  // the later block on the slot
                   {{kGlonass, 3}, 21, 6, noPhase, 21000602, 0, 3.84f},
                   {{kGalileo, 11}, 62, 7, noPhase, 21000702, 0, 8.96f},
                   {{kBeiDou, 21}, 40, 8, none, 0, 0, 20.48f},
                   {{kQzss, 2}, 80, 9, all, 21000902, -110000010, 46.08f},
                   {{kGlonass, 3}, 20, 12, all, 21001202, -110000013, 491.52f}};
    for (const auto& x : signals) {
        const CGnssSignal* s = e.HasSatellite(x.sat) ? e.GetSatellite(x.sat)->GetSignal(x.id) : nullptr;
        ASSERT_NE(s, nullptr) << x.n;
        EXPECT_EQ(std::tie(s->flags, s->pseudorange, s->carrierPhase), std::tie(x.flags, x.pseudorange, x.phase))
            << x.n;
        EXPECT_EQ(std::tie(s->lockTime, s->cn0, s->doppler), std::make_tuple(x.n, 30.0f + x.n, x.n - 500.25f)) << x.n;
        EXPECT_FLOAT_EQ(s->pseudorangeStdDev, x.prStdDev) << x.n;
        EXPECT_FLOAT_EQ(s->carrierPhaseStdDev, x.n * 0.004f) << x.n;
    }
    EXPECT_EQ(e.GetSatellite({kGlonass, 3})->glonassChannel, 3);
    EXPECT_EQ(e.GetSatellite({kGps, 2})->glonassChannel, kNoGlonassChannel);
    EXPECT_EQ(e.GetSatellite({kGps, 2})->CountSignals(), 2);
}

TEST_F(DriverTest, AbortFromTheProgressCallbackLeavesCompleteFiles) {
    SyntheticLog s = BuildLog();
    host.abortAtProgressCall = 2;
    ASSERT_EQ(Convert(s.log), 1);
    EXPECT_EQ(Error(), "User Quit");
    EXPECT_EQ(host.progress.size(), 3u);  // two blocks, then the end
    // Exactly the epochs of the first two blocks.
    const std::vector<CGnssEpoch> kept = Decoded(s.log, 4096);
    ASSERT_GE(kept.size(), 2u);
    EXPECT_EQ(params.epochsWritten, int(kept.size()));
    convtest::ExpectRawFile(dir.File("out.trv"), kept);
    EXPECT_EQ(ReadText(dir.File("out.epp")), kEphemerisHeader);
    // The next conversion starts with a clear abort count.
    host = HostRecord();
    ASSERT_EQ(Convert(s.log), 0) << Error();
    EXPECT_EQ(params.epochsWritten, 38);
}

TEST_F(DriverTest, FailuresBeforeTheRun) {
    ASSERT_TRUE(BuildLog().log.Save(params.inputFile));
    ConvertParams wrongSize = params, wrongVersion = params;
    wrongSize.structSize -= 1;
    wrongVersion.structVersion = 11;
    ConvertCallbacks wrongCallbacks = callbacks;
    wrongCallbacks.structSize += 1;
    for (auto [p, c] : {std::pair{&wrongSize, &callbacks}, {&wrongVersion, &callbacks}, {&params, &wrongCallbacks},
                        {&params, nullptr}, {nullptr, &callbacks}}) {
        EXPECT_EQ(ublox2trv::ConvertFile(p, c), 1);
        EXPECT_EQ(Error(), "Incorrect version of ublox2trv.dll");
    }
    EXPECT_FALSE(std::filesystem::exists(dir.File("out.sta")));
    // Unopenable input and station file; a raw file that cannot be created keeps its own words, after the station
    // file got its first line.
    auto failure = [&](const std::string& input, const std::string& output) {
        SetPaths(input, output);
        EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 1);
        return Error();
    };
    EXPECT_EQ(failure("missing.ubx", "out.trv"), "Error: Unable to open " + dir.File("missing.ubx"));
    EXPECT_EQ(failure("log.ubx", "no/such/out.trv"), "Error: Unable to open " + dir.File("no/such/out.sta"));
    std::filesystem::create_directory(dir.File("out.trv"));
    EXPECT_NE(failure("log.ubx", "out.trv").find("out.trv"), std::string::npos) << Error();
    EXPECT_EQ(ReadText(dir.File("out.sta")), kStationFirstLine);
    EXPECT_TRUE(host.messages.empty() && host.progress.empty());
    // A name without room for its extensions would give the three files one cut name: refused before anything is
    // opened.
    const std::string stem = dir.File("");
    EXPECT_EQ(failure("log.ubx", std::string(sizeof params.outputFile - 2 - stem.size(), 'n'))
                  .rfind("Error: Output file name is too long: " + stem, 0), 0u) << Error();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.File("")), {}), 3) << "log, out.sta, out.trv";
    EXPECT_EQ(ublox2trv::DecodeByte(0xB5, nullptr), -1);  // the port is closed again
    EXPECT_STREQ(ublox2trv::errorText, "U-blox OpenPort not called");
}

TEST_F(DriverTest, EventsThatCannotBeWrittenAreReportedAndNotCounted) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    std::filesystem::create_symlink("/dev/full", dir.File("out.sta"));
    UbxLog log;
    for (uint32_t k = 0; k < 200; ++k) log.Add(MakeTimTm2(TimeMark{0x40, 2100, 0, 1000 * k}));
    ASSERT_EQ(Convert(log), 0) << Error();
    EXPECT_LT(params.eventsWritten, 200);
    EXPECT_EQ(std::count(host.messages.begin(), host.messages.end(), std::make_pair(-1.0, std::string("Disk full"))),
              200 - params.eventsWritten);
}

TEST_F(DriverTest, AReadErrorIsReportedWithTheByteReached) {
    // A folder opens as a stream but cannot be read.
    SetPaths("folder.ubx", "out.trv");
    std::filesystem::create_directory(params.inputFile);
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0) << Error();
    EXPECT_EQ(host.messages, (decltype(host.messages){{-1.0, "Error: Unable to read " + dir.File("folder.ubx") +
                                                                 " beyond byte 0"}}));
    EXPECT_EQ(params.epochsWritten, 0);
}

TEST_F(DriverTest, ProgressOfALogBeyond2GiBStaysMonotoneWithin32Bits) {
    // A sparse file of zeros: nothing in it decodes, but every byte is read.
    const std::uintmax_t length = (std::uintmax_t{1} << 31) + 4096;
    std::ofstream(params.inputFile, std::ios::binary).put('\0');
    std::filesystem::resize_file(params.inputFile, length);
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0) << Error();
    const int total = static_cast<int>(length / 2);
    ASSERT_FALSE(host.progress.empty());
    EXPECT_EQ(host.progress.back(), std::make_pair(total, total));
    EXPECT_TRUE(std::is_sorted(host.progress.begin(), host.progress.end()));
    EXPECT_TRUE(std::all_of(host.progress.begin(), host.progress.end(),
                            [&](auto p) { return p.first >= 0 && p.first <= total && p.second == total; }));
}

TEST(Api, AutoDetectWantsAWholeFrameOfSensibleLengthInTheFirst16KiB) {
    ubxtest::TempDir dir;
    auto detect = [&](std::initializer_list<Bytes> parts) {
        UbxLog log;
        for (const Bytes& part : parts) log.Add(part);
        log.Save(dir.File("probe.bin"));
        return ublox2trv::AutoDetect(dir.File("probe.bin").c_str());
    };
    const Bytes mark = MakeTimTm2(TimeMark{}), tail{0};
    EXPECT_EQ(detect({Garbage(1000, 3), mark, tail}), 1);
    EXPECT_EQ(detect({MakeUnknownFrame(0x0A, 0x09, 60), tail}), 1);  // class and id are not looked at
    EXPECT_EQ(detect({mark}), 0);                                     // the frame must end before the probe does
    EXPECT_EQ(detect({BreakChecksum(mark), tail}), 0);
    for (auto [length, found] : {std::pair{3, 0}, {4, 1}, {2048, 1}, {2049, 0}})
        EXPECT_EQ(detect({MakeFrame(0x05, 0x01, Bytes(static_cast<size_t>(length), 1)), tail}), found) << length;
    EXPECT_EQ(detect({Garbage(16384 - 37, 5), mark, tail}), 1);
    EXPECT_EQ(detect({Garbage(16384 - 36, 5), mark, tail}), 0);
    EXPECT_EQ(ublox2trv::AutoDetect(dir.File("missing").c_str()), 0);
}

TEST(FileNames, SetFileExtensionReplacesTheLastExtensionOfTheName) {
    const char* cases[][3] = {{"C:\\data\\log.ubx", ".trv", "C:\\data\\log.trv"},
                              {"  /data/run.1/log", ".epp", "/data/run.1/log.epp"},  // blanks go; a folder's dot stays
                              {"a.b.c", ".sta", "a.b.sta"},
                              {"dir\\x.y/name", "", "dir\\x.y/name"},
                              {"name.trv", "", "name"}};
    for (const auto& c : cases) {
        char path[ublox2trv::kPathSize];
        std::snprintf(path, sizeof path, "%s", c[0]);
        EXPECT_TRUE(ublox2trv::SetFileExtension(path, c[1], sizeof path)) << c[0];
        EXPECT_STREQ(path, c[2]) << c[0];
    }
}

TEST(FileNames, ANameWithoutRoomForItsExtensionIsReported) {
    char path[ublox2trv::kPathSize];
    const std::string name(ublox2trv::kPathSize - 2, 'n');
    std::snprintf(path, sizeof path, "%s", name.c_str());
    EXPECT_FALSE(ublox2trv::SetFileExtension(path, ".trv", sizeof path));
    EXPECT_EQ(std::strlen(path), ublox2trv::kPathSize - 1) << "cut to fit, never beyond the buffer";
    std::snprintf(path, sizeof path, "%s", name.substr(4).c_str());
    EXPECT_TRUE(ublox2trv::SetFileExtension(path, ".trv", sizeof path)) << "exactly room for it";
}
