// The driver scans the log a block at a time and the checksum is summed
// eight bytes a step; both must give exactly what the byte-by-byte scan and
// the plain Fletcher loop give, on clean, damaged and real logs.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <random>

#include "PortHarness.h"
#include "conversion/UbxChecksum.h"
#include "support/SampleLog.h"
#include "support/TestPaths.h"

namespace convtest {
namespace {

struct ScanTrace {
    std::vector<std::pair<size_t, int>> results;   // (byte index, result)
    std::vector<std::string> messages;
    std::vector<uint32_t> epochTimes;
    std::vector<size_t> epochSatellites;
};

class BlockScanTest : public PortTest {
protected:
    void NoteEpoch(ScanTrace& trace) {
        trace.epochTimes.push_back(epoch.rcvTimeMs);
        trace.epochSatellites.push_back(epoch.satelliteList.size());
        epoch.Reset();
    }

    ScanTrace ByteByByte(const ubxtest::Bytes& log) {
        Reopen();
        ScanTrace trace;
        for (size_t i = 0; i < log.size(); ++i) {
            int r = ublox2trv::DecodeByte(log[i], &record);
            if (r == 0) continue;
            trace.results.emplace_back(i, r);
            if (r == ublox2trv::kDecodeEpoch) NoteEpoch(trace);
        }
        trace.messages = Texts();
        return trace;
    }

    // Blocks of a given size, like the driver's reads, each scanned by
    // DecodeBytes until it is used up.
    ScanTrace InBlocks(const ubxtest::Bytes& log, size_t block) {
        Reopen();
        ScanTrace trace;
        for (size_t start = 0; start < log.size(); start += block) {
            const size_t end = std::min(log.size(), start + block);
            for (size_t i = start; i < end;) {
                size_t used = 0;
                int r = ublox2trv::DecodeBytes(log.data() + i, end - i, used, &record);
                i += used;
                if (r == 0) continue;
                trace.results.emplace_back(i - 1, r);
                if (r == ublox2trv::kDecodeEpoch) NoteEpoch(trace);
            }
        }
        trace.messages = Texts();
        return trace;
    }

    void ExpectSameScan(const ubxtest::Bytes& log) {
        const ScanTrace expected = ByteByByte(log);
        for (size_t block : {size_t{1}, size_t{7}, size_t{2048}, log.size() + 1}) {
            SCOPED_TRACE("block " + std::to_string(block));
            const ScanTrace got = InBlocks(log, block);
            EXPECT_EQ(got.results, expected.results);
            EXPECT_EQ(got.messages, expected.messages);
            EXPECT_EQ(got.epochTimes, expected.epochTimes);
            EXPECT_EQ(got.epochSatellites, expected.epochSatellites);
        }
    }
};

// Damaged and nested frames, false syncs, overruns and cut frames.
ubxtest::Bytes DamagedLog(uint32_t seed) {
    ubxtest::SampleLogOptions options;
    options.epochs = 40;
    options.markEvery = 7;
    options.seed = seed;
    ubxtest::Bytes log = ubxtest::BuildSampleLog(options);
    std::mt19937 random(seed);
    for (int i = 0; i < 200; ++i) {
        size_t at = random() % log.size();
        switch (random() % 4) {
            case 0: log[at] = 0xB5; break;
            case 1: log[at] ^= static_cast<uint8_t>(1u << (random() % 8)); break;
            case 2: {   // a frame cut short and the scan left inside it
                ubxtest::Bytes cut = ubxtest::MakeRxmRawx(1.0, 2300, {ubxtest::RawxBlock{}});
                cut.resize(cut.size() / 2);
                log.insert(log.begin() + static_cast<long>(at), cut.begin(), cut.end());
                break;
            }
            default: {  // a length that runs past the frame buffer
                ubxtest::Bytes huge{0xB5, 0x62, 0x02, 0x13, 0x00, 0x20};
                log.insert(log.begin() + static_cast<long>(at), huge.begin(), huge.end());
                break;
            }
        }
    }
    return log;
}

TEST_F(BlockScanTest, BlocksGiveTheByteByByteScanOnDamagedLogs) {
    for (uint32_t seed : {1u, 2u, 3u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ExpectSameScan(DamagedLog(seed));
    }
}

TEST_F(BlockScanTest, BlocksGiveTheByteByByteScanOnRealLogs) {
    SKIP_WITHOUT_SHARED_LOGS();
    for (const char* name : {"f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", "m8p_base_1hz_gps_glo_qzs_badck_gappy.ubx",
                             "lea6p_rxmraw_aideph_posllh_2013.ubx"}) {
        SCOPED_TRACE(name);
        std::ifstream in(ubxtest::SharedUbxDir() / name, std::ios::binary);
        ubxtest::Bytes log((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        ASSERT_FALSE(log.empty());
        const ScanTrace expected = ByteByByte(log);
        const ScanTrace got = InBlocks(log, 2048);
        EXPECT_EQ(got.results, expected.results);
        EXPECT_EQ(got.messages.size(), expected.messages.size());
        EXPECT_EQ(got.epochTimes, expected.epochTimes);
    }
}

TEST(UbxChecksum, EightByteStepsMatchThePlainFletcherSum) {
    std::mt19937 random(11);
    std::vector<uint8_t> frame(600);
    for (int length = 8; length < 600; length += 1 + length / 40) {
        for (auto& byte : frame) byte = static_cast<uint8_t>(random());
        uint8_t a = 0, b = 0;
        for (int i = 2; i < length - 2; ++i) {
            a = static_cast<uint8_t>(a + frame[i]);
            b = static_cast<uint8_t>(b + a);
        }
        frame[length - 2] = a;
        frame[length - 1] = b;
        EXPECT_TRUE(ublox2trv::IsUbxChecksumValid(frame.data(), length)) << length;
        frame[length - 1] ^= 1;
        EXPECT_FALSE(ublox2trv::IsUbxChecksumValid(frame.data(), length)) << length;
    }
    std::vector<uint8_t> ones(300, 0xFF);   // largest lane sums
    uint8_t a = 0, b = 0;
    for (int i = 2; i < 298; ++i) {
        a = static_cast<uint8_t>(a + 0xFF);
        b = static_cast<uint8_t>(b + a);
    }
    ones[298] = a;
    ones[299] = b;
    EXPECT_TRUE(ublox2trv::IsUbxChecksumValid(ones.data(), 300));
}

}  // namespace
}  // namespace convtest
