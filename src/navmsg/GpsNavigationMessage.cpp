#include "navmsg/GpsNavigationMessage.h"

#include <cstring>

int CGpsNavigationMessage::GetEphemeris(void* record) {
    if (record == nullptr) return 0;
    GpsEphemerisRecord& out = *static_cast<GpsEphemerisRecord*>(record);
    std::memset(&out, 0, sizeof out);
    if (!RequireComplete()) return 0;
    LnavHealthBits bits{};
    return DecodeSubframes(out.elements, bits) ? 1 : 0;
}
