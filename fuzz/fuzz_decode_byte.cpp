// Feeds arbitrary bytes to the frame scanner and its record decoders, as a
// conversion does, writing nothing but keeping every decoder path live.
#include "conversion/PortArray.h"
#include "rawfile/GnssEpoch.h"

namespace {
void IgnoreMessage(int, double, const char*) {}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static CGnssEpoch epoch;
    static StationRecord record;
    if (ublox2trv::OpenPort(IgnoreMessage, &epoch) != 0) return 0;
    // The first byte picks the decoder options, so all motion modes are reached.
    DecoderOptions options{size ? data[0] % 3 : 2, 1, 0};
    ublox2trv::SetPortOptions(&options, sizeof options);
    for (size_t i = 0; i < size; ++i) {
        if (ublox2trv::DecodeByte(data[i], &record) == ublox2trv::kDecodeEpoch) epoch.Reset();
    }
    ublox2trv::ClosePort();
    return 0;
}
