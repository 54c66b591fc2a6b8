#include "conversion/RxmEphDecoder.h"

#include "conversion/FrameFields.h"
#include "conversion/HostMessages.h"
#include "ephemeris/EphemerisStore.h"
#include "navmsg/INavigationMessage.h"
#include "timebase/GpsTime.h"

namespace ublox2trv {

namespace {

constexpr int kEphSvid = 0;
constexpr int kEphHow = 4;
constexpr int kEphWords = 8;
constexpr int kHighestGpsPrn = 32;

// The scale factors of this record are the decimal forms that earlier
// output of this converter was written with. Where two forms of one power of
// two appear, both are kept, so that the decoded values, and the .epp files
// made from them, stay the same to the last digit.
constexpr double kPi = 3.141592653589793;
constexpr double kScaleSqrtA = 1.9073486328125e-6;
constexpr double kScaleE = 1.16415321826935e-10;
constexpr double kScaleAngle = 4.65661287308e-10;
constexpr double kScaleMeanAnomaly = 4.65661287307739e-10;
constexpr double kScaleRate = 1.13686837721616e-13;
constexpr double kScaleHarmonicUc = 1.86264514923096e-9;
constexpr double kScaleHarmonicR = 0.03125;
constexpr double kScaleHarmonicIc = 1.86264514923e-9;
constexpr double kScaleAf0 = 4.65661287308e-10;
constexpr double kScaleAf1 = 1.13686837721616e-13;
constexpr double kScaleAf2 = 2.77555756156289e-17;
constexpr double kScaleTgd = 4.65661287307739e-10;
constexpr double kTimeScale = 16.0;

uint32_t Field(const uint8_t* bytes, int byte, int count) { return ReadBits(bytes, static_cast<uint64_t>(byte) * 8, count); }

int32_t SignedField(const uint8_t* bytes, int byte, int count) { return TwosComplement(Field(bytes, byte, count), count); }

}  // namespace

void PackEphemerisWords(const uint32_t words[kEphemerisWordCount], uint8_t bytes[kEphemerisByteCount]) {
    for (int i = 0; i < kEphemerisWordCount; ++i) {
        bytes[3 * i] = static_cast<uint8_t>(words[i] >> 16);
        bytes[3 * i + 1] = static_cast<uint8_t>(words[i] >> 8);
        bytes[3 * i + 2] = static_cast<uint8_t>(words[i]);
    }
}

int DecodeGpsEphemerisBytes(const uint8_t bytes[kEphemerisByteCount], GpsEphemerisRecord& record, int prn) {
    KeplerElements& k = record.elements;
    k.week = ResolveWeekByClock(static_cast<int>(Field(bytes, 0, 10)));
    k.toe = static_cast<int32_t>(Field(bytes, 45, 16) * kTimeScale);
    k.sqrtA = Field(bytes, 41, 32) * kScaleSqrtA;
    k.e = Field(bytes, 35, 32) * kScaleE;
    k.i0 = SignedField(bytes, 56, 32) * kScaleAngle * kPi;
    k.Omega0 = SignedField(bytes, 50, 32) * kScaleAngle * kPi;
    k.omega = SignedField(bytes, 62, 32) * kScaleAngle * kPi;
    k.M0 = SignedField(bytes, 29, 32) * kScaleMeanAnomaly * kPi;
    k.deltaN = SignedField(bytes, 27, 16) * kScaleRate * kPi;
    k.OmegaDot = SignedField(bytes, 66, 24) * kScaleRate * kPi;
    k.IDOT = SignedField(bytes, 70, 14) * kScaleRate * kPi;
    k.Cuc = SignedField(bytes, 33, 16) * kScaleHarmonicUc;
    k.Cus = SignedField(bytes, 39, 16) * kScaleHarmonicUc;
    k.Crc = SignedField(bytes, 60, 16) * kScaleHarmonicR;
    k.Crs = SignedField(bytes, 25, 16) * kScaleHarmonicR;
    k.Cic = SignedField(bytes, 48, 16) * kScaleHarmonicIc;
    k.Cis = SignedField(bytes, 54, 16) * kScaleHarmonicIc;
    k.toc = static_cast<int32_t>(Field(bytes, 16, 16) * kTimeScale);
    k.af0 = SignedField(bytes, 21, 22) * kScaleAf0;
    k.af1 = SignedField(bytes, 19, 16) * kScaleAf1;
    k.af2 = SignedField(bytes, 18, 8) * kScaleAf2;
    k.TGD = SignedField(bytes, 14, 8) * kScaleTgd;
    // The whole of byte 2, health bits included: a healthy record has them
    // clear, and only then is the value kept.
    k.IODC = (static_cast<int32_t>(bytes[2]) << 8) + bytes[15];
    k.IODE = bytes[24];
    record.prn = prn;
    if (prn < 1 || prn > kHighestGpsPrn) return -1;
    return bytes[2] >> 2;
}

int DecodeRxmEph(StationRecord*) {
    PortArray& port = *portArray;
    if (PayloadU32(port.frame, kEphHow) == 0) return kDecodeNothing;  // no ephemeris for this satellite
    const uint32_t svid = PayloadU32(port.frame, kEphSvid);

    uint32_t words[kEphemerisWordCount];
    for (int i = 0; i < kEphemerisWordCount; ++i) words[i] = PayloadU32(port.frame, kEphWords + 4 * i);
    uint8_t bytes[kEphemerisByteCount];
    PackEphemerisWords(words, bytes);

    GpsEphemerisRecord record{};
    const int health = DecodeGpsEphemerisBytes(bytes, record, static_cast<int>(svid));
    // The clock's era is only a guess; the week of the measurements, once
    // one has been seen, puts the ephemeris in the era of the data.
    if (port.gpsWeek != 0) record.elements.week = ResolveWeekNear(record.elements.week % kWeekRollover, port.gpsWeek);

    const double time = record.elements.toe;
    if (health < 0) {
        ReportPortMessage(kLevelDetail, time, "GPS Ephemeris received with invalid PRN number (%u)", svid);
        return kDecodeNothing;
    }
    if (health > 0) {
        ReportPortMessage(kLevelDetail, time, "GPS Ephemeris received for PRN %u with BAD HEALTH", svid);
        return kDecodeNothing;
    }
    const bool kept = port.ephemerisStore != nullptr && port.ephemerisStore->AddGps(record);
    if (!kept) {
        ReportPortMessage(kLevelDetail, time, "GPS Ephemeris rejected for PRN %u", svid);
        return kDecodeNothing;
    }
    ReportPortMessage(kLevelDetail, time, "GPS Ephemeris received for PRN %u", svid);
    return kDecodeEphemeris;
}

}  // namespace ublox2trv
