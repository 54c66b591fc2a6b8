// Names of the receiver types stored in .trv headers.
#include <cstdio>

#include "rawfile/TrvFile.h"

namespace {
// Indexed by receiver type; null entries (0, 30, 38) are unknown types.
constexpr const char* kReceiverTypeNames[] = {
    nullptr,
    "Leica MX",
    "Ashtech GPS",
    "Trimble DAT",
    "Halcyon OEM2/3",
    "Motorola Oncore",
    "RINEX",
    "FURUNO",
    "Parthus",
    "Rockwell PLGR",
    "Canadian Marconi",
    "AOA Turbo Binary",
    "RTCM",
    "Leica SR",
    "Rockwell Jupiter",
    "Trimble SV6",
    "TrvCat Resampled",
    "Ashtech GPS-GLN",
    "UKOA",
    "Rockwell PLGR2",
    "Magellan",
    "Position Correction",
    "Javad",
    "Trimble CMR",
    "Garmin 25/35",
    "Trimble TIPY",
    "Trimble TSIP",
    "UniStrong Custom",
    "NavSys AGR",
    "Trimble Real-Time",
    nullptr,
    "SIRF Binary",
    "NavCom RawData",
    "CSI-SLX",
    "Halcyon OEM/ARCH",
    "GRAM-S",
    "Septentrio Binary Format",
    "DSNP",
    nullptr,
    "U-Blox",
    "Leica System 1200",
    "NavCom Sapphire",
};
constexpr int kReceiverTypeCount = sizeof kReceiverTypeNames / sizeof kReceiverTypeNames[0];
}  // namespace

const char* ReceiverTypeName(int receiverType) {
    static char text[64];
    const char* name = nullptr;
    if (receiverType >= 0 && receiverType < kReceiverTypeCount) name = kReceiverTypeNames[receiverType];
    snprintf(text, sizeof text, "%s", name ? name : "UNKNOWN");
    return text;
}
