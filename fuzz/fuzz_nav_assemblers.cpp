// Feeds arbitrary pieces to the five navigation message assemblers in both
// input layouts; whatever completes is decoded, made into an ephemeris and
// asked for its validity, text record, orbit and clock.
#include <cstdio>
#include <cstring>
#include <memory>

#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"
#include "navmsg/BeiDouD1NavigationMessage.h"
#include "navmsg/GalileoINavNavigationMessage.h"
#include "navmsg/GlonassNavigationMessage.h"
#include "navmsg/GpsNavigationMessage.h"
#include "navmsg/QzssNavigationMessage.h"

namespace {

constexpr size_t kPiece = 48;   // more than any assembler reads from one piece

union AnyRecord {
    GpsEphemerisRecord gps;
    QzssEphemerisRecord qzss;
    BdsEphemerisRecord bds;
    GalEphemerisRecord gal;
    GloEphemerisRecord glo;
};

std::unique_ptr<INavigationMessage> MakeAssembler(int kind, int layout) {
    switch (kind) {
        case 0: return std::make_unique<CGpsNavigationMessage>(layout);
        case 1: return std::make_unique<CQzssNavigationMessage>(layout);
        case 2: return std::make_unique<CBeiDouD1NavigationMessage>(layout);
        case 3: return std::make_unique<CGalileoINavE1bNavigationMessage>(layout);
        default: return std::make_unique<CGlonassNavigationMessage>();
    }
}

std::unique_ptr<GNSS::IEphemeris> MakeEphemeris(int kind, const AnyRecord& r) {
    switch (kind) {
        case 0: return std::make_unique<GNSS::CEphemerisGPS>(r.gps);
        case 1: return std::make_unique<GNSS::CEphemerisQZSS>(r.qzss);
        case 2: return std::make_unique<GNSS::CEphemerisBDS>(r.bds);
        case 3: return std::make_unique<GNSS::CEphemerisGAL>(r.gal);
        default: return std::make_unique<GNSS::CEphemerisGLO>(r.glo);
    }
}

void Exercise(const GNSS::IEphemeris& eph, FILE* sink) {
    char message[kEphemerisMessageSize];
    eph.IsValid(message);
    eph.WriteRecord(sink);
    GpsTime reference;
    eph.GetReferenceTime(reference);
    double position[3], velocity[3];
    for (double offset : {0.0, 1800.0, -3599.0}) {
        GpsTime t = reference + offset;
        eph.ComputePositionVelocity(t, 2.2e7, position, velocity);
        eph.ComputeClockBias(t);
        eph.IsCurrent(t);
        eph.IsUsable(t);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    static FILE* sink = std::fopen("/dev/null", "w");
    const int kind = data[0] % 5;
    const int layout = (data[0] / 5) % 2;
    auto assembler = MakeAssembler(kind, layout);
    uint8_t piece[kPiece];
    for (size_t at = 1; at < size; at += kPiece) {
        std::memset(piece, 0, sizeof piece);
        std::memcpy(piece, data + at, std::min(kPiece, size - at));
        assembler->Store(piece);
        if (kind == 4) {
            double tauC;
            int dayNumber;
            ReadString5(piece, tauC, dayNumber);
        }
        if (!assembler->IsComplete()) continue;
        AnyRecord record;
        std::memset(&record, 0, sizeof record);
        if (assembler->GetEphemeris(&record) == 1) Exercise(*MakeEphemeris(kind, record), sink);
        assembler->Reset();
    }
    return 0;
}
