// The driver scans the log a block at a time and the checksum is summed
// eight bytes a step; both must give exactly what the byte-by-byte scan and
// the plain Fletcher loop give. Real logs go through the same comparison in
// RealLogTests, by way of the driver.
#include <random>

#include "PortHarness.h"
#include "conversion/UbxChecksum.h"
#include "simulation/SampleLog.h"

namespace convtest {
namespace {

struct ScanTrace {
    std::vector<std::pair<size_t, int>> results;  // (byte index, result)
    Lines messages;
    std::vector<std::pair<uint32_t, size_t>> epochs;  // (time, satellites)
    bool operator==(const ScanTrace&) const = default;
};

class BlockScanTest : public PortTest {
protected:
    // Blocks of a given size, like the driver's reads, each scanned by
    // DecodeBytes until it is used up; block 0 is the byte-by-byte scan.
    ScanTrace Scan(const simulation::Bytes& log, size_t block) {
        Reopen();
        ScanTrace trace;
        auto note = [&](size_t at, int r) {
            trace.results.emplace_back(at, r);
            if (r != ublox2trv::kDecodeEpoch) return;
            trace.epochs.emplace_back(epoch.rcvTimeMs, epoch.satelliteList.size());
            epoch.Reset();
        };
        for (size_t start = 0; start < log.size(); start += block == 0 ? log.size() : block) {
            const size_t end = block == 0 ? log.size() : std::min(log.size(), start + block);
            for (size_t i = start; i < end;) {
                size_t used = 1;
                int r = block == 0 ? ublox2trv::DecodeByte(log[i], &record)
                                   : ublox2trv::DecodeBytes(log.data() + i, end - i, used, &record);
                i += used;
                if (r != 0) note(i - 1, r);
            }
        }
        trace.messages = Texts();
        return trace;
    }
};

// Damaged and nested frames, false syncs, overruns and cut frames.
simulation::Bytes DamagedLog(uint32_t seed) {
    simulation::SampleLogOptions options;
    options.epochs = 40;
    options.markEvery = 7;
    options.seed = seed;
    simulation::Bytes log = simulation::BuildSampleLog(options);
    std::mt19937 random(seed);
    simulation::Bytes cut = simulation::MakeRxmRawx(1.0, 2300, {simulation::RawxBlock{}});
    cut.resize(cut.size() / 2);  // a frame cut short and the scan left inside it
    const simulation::Bytes huge{0xB5, 0x62, 0x02, 0x13, 0x00, 0x20};  // a length past the frame buffer
    for (int i = 0; i < 200; ++i) {
        const auto at = static_cast<long>(random() % log.size());
        switch (random() % 4) {
            case 0: log[at] = 0xB5; break;
            case 1: log[at] ^= static_cast<uint8_t>(1u << (random() % 8)); break;
            case 2: log.insert(log.begin() + at, cut.begin(), cut.end()); break;
            default: log.insert(log.begin() + at, huge.begin(), huge.end()); break;
        }
    }
    return log;
}

TEST_F(BlockScanTest, BlocksGiveTheByteByByteScanOnDamagedLogs) {
    for (uint32_t seed : {1u, 2u, 3u}) {
        const simulation::Bytes log = DamagedLog(seed);
        const ScanTrace expected = Scan(log, 0);
        ASSERT_GT(expected.results.size(), 10u) << expected.epochs.size();
        for (size_t block : {size_t{1}, size_t{7}, size_t{2048}, log.size() + 1})
            EXPECT_TRUE(Scan(log, block) == expected) << "seed " << seed << ", block " << block;
    }
}

TEST(UbxChecksum, BlockStepsMatchThePlainFletcherSum) {
    std::mt19937 random(11);
    std::vector<uint8_t> frame(8096);
    for (int length = 8; length <= 8096; length += 1 + length / 40) {
        // Random bytes, and all 0xFF for the largest lane sums.
        for (auto& byte : frame) byte = length % 2 ? 0xFF : static_cast<uint8_t>(random());
        uint8_t a = 0, b = 0;
        for (int i = 2; i < length - 2; ++i) b = static_cast<uint8_t>(b + (a = static_cast<uint8_t>(a + frame[i])));
        frame[length - 2] = a;
        frame[length - 1] = b;
        EXPECT_TRUE(ublox2trv::IsUbxChecksumValid(frame.data(), length)) << length;
        frame[length - 1] ^= 1;
        EXPECT_FALSE(ublox2trv::IsUbxChecksumValid(frame.data(), length)) << length;
    }
}

}  // namespace
}  // namespace convtest
