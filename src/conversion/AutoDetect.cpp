// A quick look at the head of a file: does it hold a well-formed UBX frame?
// Class and id are not looked at. No process-wide state is touched.
#include <cstdio>
#include <memory>
#include <new>

#include "conversion/Converter.h"
#include "conversion/PortArray.h"
#include "conversion/UbxChecksum.h"

namespace ublox2trv {

namespace {
constexpr size_t kProbeSize = 16384;
constexpr long kShortestProbedPayload = 4;
constexpr long kLongestProbedPayload = 2048;

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
}  // namespace

int32_t AutoDetect(const char* path) {
    if (path == nullptr) return 0;
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path, "rb"));
    if (!file) return 0;
    std::unique_ptr<uint8_t[]> probe(new (std::nothrow) uint8_t[kProbeSize]);
    if (!probe) return 0;

    const long n = static_cast<long>(std::fread(probe.get(), 1, kProbeSize, file.get()));
    const uint8_t* p = probe.get();
    for (long i = 0; i < n - kUbxHeaderSize; ++i) {
        if (p[i] != kUbxSync1 || p[i + 1] != kUbxSync2) continue;
        const long length = p[i + 4] | (p[i + 5] << 8);
        if (length < kShortestProbedPayload || length > kLongestProbedPayload) continue;
        // The frame must end strictly before the end of the probe.
        if (i + length + kUbxFrameOverhead >= n) continue;
        if (IsUbxChecksumValid(p + i, static_cast<int>(length + kUbxFrameOverhead))) return 1;
    }
    return 0;
}

}  // namespace ublox2trv
