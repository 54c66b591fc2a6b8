// The whole conversion through ublox2trv::ConvertFile on logs written by
// the test UBX writer: counts, the three files, messages, progress, abort.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "EpochCompare.h"
#include "conversion/PortArray.h"
#include "support/TestPaths.h"
#include "simulation/UbxWriter.h"

using namespace ubxtest;
using namespace simulation;
using convtest::ReadText;

namespace {

const std::string kStationFirstLine = "$STAINFO Ver 9.00.2207 UBLOX2TRV U-blox\n";
const char kEphemerisHeader[] = "$EPHV3B Ver9.00.2207 UBLOX2TRV U-Blox\n";
const double kPosition[3] = {47.3765432, 8.5476543, 512.345};
const std::string kNmea = "$GPGGA,115739.00,4158.8441367,N,09147.4416929,W,4,13,0.9,255.747,M,-32.00,M,01,0000*6E\r\n";

struct EncodedEpoch {
    double tow;
    uint16_t week;
    std::vector<RawxBlock> blocks;
    bool position;  // a NAV-POSLLH came before it
};

// One second of GPS L1/L2, GLONASS L1/L2, Galileo, BeiDou and QZSS, with a
// GPS L5 and a GLONASS slot 255 block that the conversion leaves out.
EncodedEpoch MakeEpoch(int k) {
    EncodedEpoch e{345600.0 - 0.0021 + k, 2100, {}, k >= 3};
    auto add = [&](uint8_t gnssId, uint8_t svId, uint8_t sigId) {
        RawxBlock b;
        b.gnssId = gnssId, b.svId = svId, b.sigId = sigId;
        b.prMes = 2.0e7 + 1000.0 * svId + 13.125 * k + sigId;
        b.cpMes = 1.05e8 + 68.0 * k + 0.25 * svId;
        b.doMes = static_cast<float>(-500.0 + 10.5 * svId + 0.25 * k);
        b.locktime = static_cast<uint16_t>(k == 0 ? 0 : 1000 * k + svId);
        b.cno = static_cast<uint8_t>(30 + svId % 20);
        b.prStdev = static_cast<uint8_t>((svId + k) % 16);
        b.cpStdev = static_cast<uint8_t>(svId % 16);
        const uint8_t trkStats[] = {7, 7, 1, 7, 3, 5, 7, 0};  // range only, phase open or not valid, none
        b.trkStat = trkStats[(svId + k) % 8];
        b.freqId = static_cast<uint8_t>(gnssId == 6 ? svId + 3 : 0);
        e.blocks.push_back(b);
    };
    for (uint8_t prn = 1; prn <= 8; ++prn) {
        add(0, prn, 0);
        if (prn == 2 || prn == 5) add(0, prn, 3);
    }
    for (uint8_t slot = 1; slot <= 4; ++slot) add(6, slot, 0), add(6, slot, 2);
    for (auto [gnss, sv, sig] : {std::array<uint8_t, 3>{2, 11, 0}, {2, 11, 6}, {2, 12, 1}, {3, 21, 0}, {5, 2, 0},
                                 {0, 1, 6}, {6, 255, 0}})
        add(gnss, sv, sig);
    return e;
}

// What an epoch should hold after the round trip, from the encoded blocks.
CGnssEpoch Expected(const EncodedEpoch& e) {
    CGnssEpoch epoch;
    epoch.week = e.week;
    epoch.flags = kEpochWeekValid | (e.position ? kEpochPositionValid : 0u);
    epoch.rawRcvTime = epoch.trueRcvTime = e.tow;
    epoch.rcvTimeMs = static_cast<uint32_t>(std::lround(e.tow * 20.0) * 50);
    if (e.position)
        epoch.position = {std::lround(kPosition[0] * 1e7) * 1e-7, std::lround(kPosition[1] * 1e7) * 1e-7,
                          std::lround(kPosition[2] * 1000.0) * 0.001};
    for (const RawxBlock& b : e.blocks) {
        const GnssConstellation c[] = {kGps, -1, kGalileo, kBeiDou, -1, kQzss, kGlonass};
        const SatelliteId sat(c[b.gnssId], b.svId);
        const GnssSignalId id = b.gnssId == 0   ? (b.sigId == 0 ? 0 : b.sigId == 3 ? 3 : -1)
                                : b.gnssId == 2 ? (b.sigId == 6 ? 62 : 60)
                                : b.gnssId == 6 ? (b.sigId == 0 ? 20 : 21)
                                                : (b.gnssId == 3 ? 40 : 80);
        if (id < 0 || !sat.IsValid()) continue;
        CGnssSignal s;
        s.signalId = id;
        s.flags = kSigPresent | kSigDoppler | kSigCn0 | kSigPseudorangeStdDev | kSigPhaseStdDev;
        if (b.trkStat & 1) s.flags |= kSigPseudorange, s.pseudorange = b.prMes;
        if ((b.trkStat & 6) == 6) s.flags |= kSigPhaseResolved | kSigPhaseValue, s.carrierPhase = -b.cpMes;
        if (b.locktime != 0) s.flags |= kSigLockTime, s.lockTime = static_cast<float>(b.locktime * 0.001);
        s.doppler = b.doMes;
        s.cn0 = b.cno;
        const int n = b.prStdev & 15;
        s.pseudorangeStdDev = static_cast<float>((1 << n) * static_cast<double>(n * 0.01f));
        s.carrierPhaseStdDev = static_cast<float>((b.cpStdev & 15) * 0.004);
        CGnssSatellite satellite = epoch.HasSatellite(sat) ? *epoch.GetSatellite(sat) : CGnssSatellite(sat);
        if (c[b.gnssId] == kGlonass) satellite.glonassChannel = static_cast<uint8_t>(b.freqId - 7);
        satellite.SetSignal(s);
        epoch.SetSatellite(satellite);
    }
    return epoch;
}

// A log of one RXM-RAWX a second with a position from epoch 3 on, marks,
// NMEA, unknown records, garbage, a damaged epoch (7) and one in week 0 (9).
struct SyntheticLog {
    UbxLog log;
    std::vector<EncodedEpoch> written;  // the epochs the conversion keeps
    std::string marks;                  // the Mrk records they give
};

SyntheticLog BuildLog(int epochs) {
    SyntheticLog s;
    const Bytes nmea(kNmea.begin(), kNmea.end());
    s.log.Add(Garbage(100, 1)).Add(nmea);
    for (int k = 0; k < epochs; ++k) {
        if (k == 3) s.log.Add(MakeNavPosllh(1000, kPosition[0], kPosition[1], kPosition[2]));
        EncodedEpoch e = MakeEpoch(k);
        e.week = k == 9 ? 0 : e.week;
        Bytes frame = MakeRxmRawx(e.tow, e.week, e.blocks);
        s.log.Add(k == 7 ? BreakChecksum(frame) : frame);
        if (k != 7 && k != 9) s.written.push_back(e);
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

using Progress = std::vector<std::pair<int, int>>;
struct HostRecord {
    std::vector<std::pair<double, std::string>> messages;
    Progress progress;
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
    }
    std::vector<std::string> MessageTexts() const {
        std::vector<std::string> texts;
        for (const auto& m : host.messages) texts.push_back(m.second);
        return texts;
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

    void ExpectRawFile(const std::vector<EncodedEpoch>& epochs) {
        std::vector<CGnssEpoch> expected;
        for (const EncodedEpoch& e : epochs) expected.push_back(Expected(e));
        convtest::ExpectRawFile(dir.File("out.trv"), expected);
    }

    TempDir dir;
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
    SyntheticLog s = BuildLog(40);
    ASSERT_EQ(Convert(s.log), 0) << Error();
    EXPECT_EQ(params.epochsWritten, 38);
    EXPECT_EQ(params.eventsWritten, 4);
    EXPECT_EQ(params.ephemeridesWritten, 0);
    EXPECT_EQ(ReadText(dir.File("out.sta")), kStationFirstLine + s.marks);
    EXPECT_EQ(ReadText(dir.File("out.epp")), kEphemerisHeader);
    ExpectRawFile(s.written);
    // Only the level-2 words of the damaged frame reach a host that did not
    // ask for all messages.
    EXPECT_EQ(host.messages, (decltype(host.messages){{-1.0, "Checksum failure on 'MEASUREMENTX' record (0x15)"}}));
    // Progress after every 2048-byte block and once more at the end.
    const int total = static_cast<int>(s.log.Data().size());
    ASSERT_NE(total % 2048, 0);
    Progress expected;
    for (int done = 2048; done < total; done += 2048) expected.emplace_back(done, total);
    expected.insert(expected.end(), 2, {total, total});
    EXPECT_EQ(host.progress, expected);
}

TEST_F(DriverTest, AbortFromTheProgressCallbackLeavesCompleteFiles) {
    SyntheticLog s = BuildLog(40);
    host.abortAtProgressCall = 2;
    ASSERT_EQ(Convert(s.log), 1);
    EXPECT_EQ(Error(), "User Quit");
    EXPECT_EQ(host.progress.size(), 3u);  // two blocks, then the end

    // Exactly the epochs whose frames ended in the first two blocks.
    size_t kept = 0;
    for (const EncodedEpoch& e : s.written) {
        Bytes frame = MakeRxmRawx(e.tow, e.week, e.blocks);
        auto at = std::search(s.log.Data().begin(), s.log.Data().end(), frame.begin(), frame.end());
        kept += static_cast<size_t>(at - s.log.Data().begin()) + frame.size() <= 4096;
    }
    ASSERT_GE(kept, 2u);
    EXPECT_EQ(params.epochsWritten, static_cast<int>(kept));
    ExpectRawFile(std::vector<EncodedEpoch>(s.written.begin(), s.written.begin() + static_cast<long>(kept)));
    EXPECT_EQ(ReadText(dir.File("out.epp")), kEphemerisHeader);

    // The next conversion starts with a clear abort count.
    host = HostRecord();
    ASSERT_EQ(Convert(s.log), 0) << Error();
    EXPECT_EQ(params.epochsWritten, 38);
}

TEST_F(DriverTest, FailuresBeforeTheRun) {
    ASSERT_TRUE(BuildLog(3).log.Save(params.inputFile));
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

    // Unopenable input and station file; a raw file that cannot be created
    // keeps its own words, after the station file got its first line.
    SetPaths("missing.ubx", "out.trv");
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 1);
    EXPECT_EQ(Error(), "Error: Unable to open " + dir.File("missing.ubx"));
    SetPaths("log.ubx", "no/such/out.trv");
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 1);
    EXPECT_EQ(Error(), "Error: Unable to open " + dir.File("no/such/out.sta"));
    SetPaths("log.ubx", "out.trv");
    std::filesystem::create_directory(dir.File("out.trv"));
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 1);
    EXPECT_NE(Error().find("out.trv"), std::string::npos) << Error();
    EXPECT_EQ(ReadText(dir.File("out.sta")), kStationFirstLine);
    EXPECT_TRUE(host.messages.empty() && host.progress.empty());

    // A name without room for its extensions would give the three files one
    // cut name: refused before anything is opened.
    const std::string stem = dir.File("");
    SetPaths("log.ubx", std::string(sizeof params.outputFile - 2 - stem.size(), 'n'));
    EXPECT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 1);
    EXPECT_EQ(Error().rfind("Error: Output file name is too long: " + stem, 0), 0u) << Error();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.File("")), {}), 3) << "log, out.sta, out.trv";
    EXPECT_EQ(ublox2trv::DecodeByte(0xB5, nullptr), -1);  // the port is closed again
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
    EXPECT_EQ(MessageTexts(),
              std::vector<std::string>{"Error: Unable to read " + dir.File("folder.ubx") + " beyond byte 0"});
    EXPECT_EQ(params.epochsWritten, 0);
}

TEST_F(DriverTest, ProgressOfALogBeyond2GiBStaysMonotoneWithin32Bits) {
    // A sparse file of zeros: nothing in it decodes, but every byte is read.
    const std::uintmax_t length = (std::uintmax_t{1} << 31) + 4096;
    {
        std::ofstream(params.inputFile, std::ios::binary).put('\0');
    }
    std::filesystem::resize_file(params.inputFile, length);
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0) << Error();
    const int total = static_cast<int>(length / 2);
    ASSERT_FALSE(host.progress.empty());
    EXPECT_EQ(host.progress.back(), std::make_pair(total, total));
    EXPECT_TRUE(std::is_sorted(host.progress.begin(), host.progress.end()));
    EXPECT_TRUE(std::all_of(host.progress.begin(), host.progress.end(),
                            [&](auto p) { return p.first >= 0 && p.first <= total && p.second == total; }));
}
