// u-blox gnssId/sigId pairs to this system's constellations and signals.
// Only the pairs listed are taken: GPS L5, Galileo E5a, SBAS and IMES are
// refused on purpose.
#include <array>

#include "conversion/UbxDecoders.h"

namespace ublox2trv {

namespace {

enum UbloxGnssId : int { kUbxGps = 0, kUbxGalileo = 2, kUbxBeiDou = 3, kUbxQzss = 5, kUbxGlonass = 6 };

struct SignalRow {
    int gnssId;
    int sigId;
    GnssSignalId signalId;
};

constexpr SignalRow kSignalRows[] = {
    {kUbxGps, 0, 0},       // L1 C/A
    {kUbxGps, 3, 3},       // L2 CL
    {kUbxGps, 4, 3},       // L2 CM
    {kUbxGalileo, 0, 60},  // E1 C
    {kUbxGalileo, 1, 60},  // E1 B
    {kUbxGalileo, 5, 62},  // E5b I
    {kUbxGalileo, 6, 62},  // E5b Q
    {kUbxBeiDou, 0, 40},   // B1I D1
    {kUbxBeiDou, 1, 40},   // B1I D2
    {kUbxBeiDou, 2, 41},   // B2I D1
    {kUbxBeiDou, 3, 41},   // B2I D2
    {kUbxQzss, 0, 80},     // L1 C/A
    {kUbxQzss, 4, 81},     // L2 CM
    {kUbxQzss, 5, 81},     // L2 CL
    {kUbxGlonass, 0, 20},  // L1 OF
    {kUbxGlonass, 2, 21},  // L2 OF
};

bool MapConstellation(int gnssId, GnssConstellation& constellation) {
    switch (gnssId) {
        case kUbxGps: constellation = kGps; return true;
        case kUbxGalileo: constellation = kGalileo; return true;
        case kUbxBeiDou: constellation = kBeiDou; return true;
        case kUbxQzss: constellation = kQzss; return true;
        case kUbxGlonass: constellation = kGlonass; return true;
        default: return false;
    }
}

// kSignalRows by gnssId and sigId, for a lookup per measurement.
constexpr int kGnssIds = 7;
constexpr int kSigIds = 8;
constexpr auto kSignalOf = [] {
    std::array<std::array<GnssSignalId, kSigIds>, kGnssIds> table{};
    for (auto& row : table)
        for (GnssSignalId& id : row) id = kNoSignal;
    for (const SignalRow& row : kSignalRows) table[row.gnssId][row.sigId] = row.signalId;
    return table;
}();

}  // namespace

bool MapUbloxSignal(int gnssId, int sigId, GnssConstellation& constellation, GnssSignalId& signalId) {
    if (!MapConstellation(gnssId, constellation)) return false;
    if (sigId < 0 || sigId >= kSigIds || kSignalOf[gnssId][sigId] == kNoSignal) return false;
    signalId = kSignalOf[gnssId][sigId];
    return true;
}

}  // namespace ublox2trv
