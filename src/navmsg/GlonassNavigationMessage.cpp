#include "navmsg/GlonassNavigationMessage.h"

#include <cmath>
#include <cstring>
#include <string>

namespace {

// Scale factors of the GLONASS ICD are exact powers of two; they are built
// at compile time rather than written as rounded decimals.
constexpr double PowerOfTwo(int exponent) {
    double value = 1.0;
    for (int i = 0; i < exponent; ++i) value *= 2.0;
    for (int i = 0; i > exponent; --i) value *= 0.5;
    return value;
}
constexpr double kP2m11 = PowerOfTwo(-11);
constexpr double kP2m20 = PowerOfTwo(-20);
constexpr double kP2m27 = PowerOfTwo(-27);
constexpr double kP2m30 = PowerOfTwo(-30);
constexpr double kP2m40 = PowerOfTwo(-40);

constexpr int kSecondsPerHour = 3600;
constexpr int kSecondsPerMinute = 60;
constexpr int kHalfMinute = 30;
constexpr int kTbUnit = 900;  // tb counts quarters of an hour

// Where the fields stand in a string, counted from the idle chip as 0.
constexpr uint64_t kIdleBit = 0;
constexpr uint64_t kStringNumberBit = 1;
constexpr int kStringNumberBits = 4;

// Strings 1 to 3 carry one axis each of the state vector at the same places.
constexpr uint64_t kVelocityBit = 21;
constexpr int kVelocityBits = 24;
constexpr uint64_t kAccelerationBit = 45;
constexpr int kAccelerationBits = 5;
constexpr uint64_t kPositionBit = 50;
constexpr int kPositionBits = 27;

// String 1.
constexpr uint64_t kP1Bit = 7;
constexpr uint64_t kTkHoursBit = 9;
constexpr uint64_t kTkMinutesBit = 14;
constexpr uint64_t kTkHalfMinuteBit = 20;
// String 2.
constexpr uint64_t kBnBit = 5;
constexpr int kBnBits = 3;
constexpr uint32_t kBnUnhealthy = 0x4;  // the top bit of Bn; the others are not a verdict
constexpr uint64_t kP2Bit = 8;
constexpr uint64_t kTbBit = 9;
constexpr int kTbBits = 7;
// String 3.
constexpr uint64_t kP3Bit = 5;
constexpr uint64_t kGammaBit = 6;
constexpr int kGammaBits = 11;
constexpr uint64_t kLnBit = 20;
// String 4.
constexpr uint64_t kTauNBit = 5;
constexpr int kTauNBits = 22;
constexpr uint64_t kEnBit = 32;
constexpr int kEnBits = 5;
constexpr uint64_t kFtBit = 52;
constexpr int kFtBits = 4;
constexpr uint32_t kFtUnusable = 15;
constexpr uint64_t kNtBit = 59;
constexpr int kNtBits = 11;
constexpr uint64_t kSatelliteNumberBit = 70;
constexpr int kSatelliteNumberBits = 5;
// String 5.
constexpr uint64_t kNaBit = 5;
constexpr int kNaBits = 11;
constexpr uint64_t kTauCBit = 16;
constexpr int kTauCBits = 32;
constexpr int kString5 = 5;
constexpr int kFirstDayNumber = 1;
constexpr int kLastDayNumber = 1461;  // the four-year interval
constexpr double kTauCLimit = 1.0;    // a larger correction is a broken string

uint32_t Bits(const uint8_t* s, uint64_t offset, int count) { return ReadBits(s, offset, count); }
int32_t Signed(const uint8_t* s, uint64_t offset, int count) {
    return SignMagnitude(ReadBits(s, offset, count), count);
}

// The words of a refusal, and the result of GetEphemeris that goes with it.
int Refuse(std::string& error, const char* words) {
    error = words;
    return 0;
}

// The checks that every string passes before its fields are read: the idle
// chip and the number of its slot.
bool CheckHeader(const uint8_t* s, int n, std::string& error) {
    static const char* const kIdleWords[] = {"String 1 idle chip is not zero", "String 2 idle chip is not zero",
                                            "String 3 idle chip is not zero", "String 4 idle chip is not zero"};
    static const char* const kNumberWords[] = {"String 1 string number is not 1", "String 2 string number is not 2",
                                              "String 3 string number is not 3", "String 4 string number is not 4"};
    if (Bits(s, kIdleBit, 1) != 0) {
        error = kIdleWords[n - 1];
        return false;
    }
    if (Bits(s, kStringNumberBit, kStringNumberBits) != static_cast<uint32_t>(n)) {
        error = kNumberWords[n - 1];
        return false;
    }
    return true;
}

// One axis of the state vector from string 1, 2 or 3, in km, km/s, km/s2.
void ReadAxis(const uint8_t* s, int axis, GloEphemerisRecord& r) {
    r.position[axis] = Signed(s, kPositionBit, kPositionBits) * kP2m11;
    r.velocity[axis] = Signed(s, kVelocityBit, kVelocityBits) * kP2m20;
    r.acceleration[axis] = Signed(s, kAccelerationBit, kAccelerationBits) * kP2m30;
}

}  // namespace

CGlonassNavigationMessage::CGlonassNavigationMessage() {
    std::memset(strings, 0, sizeof strings);
    for (bool& l : loaded) l = false;
}

void CGlonassNavigationMessage::Reset() {
    for (int k = 0; k < kStringCount; ++k) {
        if (!loaded[k]) continue;
        std::memset(strings[k], 0, kStringBytes);
        loaded[k] = false;
    }
}

bool CGlonassNavigationMessage::IsComplete() const {
    for (bool l : loaded)
        if (!l) return false;
    return true;
}

int CGlonassNavigationMessage::Store(const uint8_t* buffer) {
    if (buffer == nullptr) return 0;
    if (Bits(buffer, kIdleBit, 1) != 0) {
        errorText = "Idle bit is not zero";
        return -1;
    }
    const int m = static_cast<int>(Bits(buffer, kStringNumberBit, kStringNumberBits));
    if (m == 0) {
        errorText = "String " + std::to_string(m) + " is invalid";
        return -2;
    }
    // Almanac and time strings are not part of the ephemeris; string 5 has
    // a reader of its own.
    if (m > kStringCount) return m;
    // No issue ties the strings of one frame together; the caller keeps
    // frames apart by their numbers. Order is all that is judged here.
    for (int k = 0; k < m - 1; ++k) {
        if (!loaded[k]) {
            errorText = "Must store string " + std::to_string(k + 1) + " before storing string " + std::to_string(m);
            return -3;
        }
    }
    const int slot = m - 1;
    std::memset(strings[slot], 0, kStringBytes);
    std::memcpy(strings[slot], buffer, kStringBytes);
    loaded[slot] = true;
    lastStored = m;
    return m;
}

int CGlonassNavigationMessage::GetEphemeris(void* record) {
    if (record == nullptr) return 0;
    GloEphemerisRecord& r = *static_cast<GloEphemerisRecord*>(record);
    std::memset(&r, 0, sizeof r);
    for (int k = 0; k < kStringCount; ++k) {
        if (!loaded[k]) {
            errorText = "String " + std::to_string(k + 1) + " has not been loaded";
            return 0;
        }
    }
    const uint8_t* s1 = strings[0];
    const uint8_t* s2 = strings[1];
    const uint8_t* s3 = strings[2];
    const uint8_t* s4 = strings[3];

    if (!CheckHeader(s1, 1, errorText)) return 0;
    if (!CheckHeader(s2, 2, errorText)) return 0;
    const uint32_t bn = Bits(s2, kBnBit, kBnBits);
    if (bn & kBnUnhealthy) return Refuse(errorText, "String 2 health flag indicates poor satellite health");
    if (!CheckHeader(s3, 3, errorText)) return 0;
    if (Bits(s3, kLnBit, 1) != 0)
        return Refuse(errorText, "String 3 health flag indicates poor satellite health");
    if (!CheckHeader(s4, 4, errorText)) return 0;
    if (Bits(s4, kFtBit, kFtBits) >= kFtUnusable)
        return Refuse(errorText, "String 4 has invalid satellite accuracy index");

    const int hours = static_cast<int>(Bits(s1, kTkHoursBit, 5));
    const int minutes = static_cast<int>(Bits(s1, kTkMinutesBit, 6));
    const int halfMinute = static_cast<int>(Bits(s1, kTkHalfMinuteBit, 1));
    r.tk = hours * kSecondsPerHour + minutes * kSecondsPerMinute + halfMinute * kHalfMinute;
    r.tb = static_cast<int32_t>(Bits(s2, kTbBit, kTbBits)) * kTbUnit;
    ReadAxis(s1, 0, r);
    ReadAxis(s2, 1, r);
    ReadAxis(s3, 2, r);
    r.Bn = static_cast<int32_t>(bn);
    r.gamma = static_cast<float>(Signed(s3, kGammaBit, kGammaBits) * kP2m40);
    // The record keeps -tauN; the integer is negated so that a zero stays +0.
    r.minusTau = static_cast<float>(-Signed(s4, kTauNBit, kTauNBits) * kP2m30);
    r.En = static_cast<int32_t>(Bits(s4, kEnBit, kEnBits));
    r.satelliteNumber = static_cast<int32_t>(Bits(s4, kSatelliteNumberBit, kSatelliteNumberBits));
    r.NT = static_cast<int32_t>(Bits(s4, kNtBit, kNtBits));
    const uint32_t p1 = Bits(s1, kP1Bit, 2);
    const uint32_t p2 = Bits(s2, kP2Bit, 1);
    const uint32_t p3 = Bits(s3, kP3Bit, 1);
    r.pFlags = static_cast<int32_t>(p1 | (p2 << 2) | (p3 << 3));
    return 1;
}

bool ReadString5(const uint8_t* buffer, double& tauC, int& NA) {
    tauC = 0.0;
    NA = 0;
    if (buffer == nullptr) return false;
    if (Bits(buffer, kIdleBit, 1) != 0) return false;
    if (Bits(buffer, kStringNumberBit, kStringNumberBits) != kString5) return false;
    const int dayNumber = static_cast<int>(Bits(buffer, kNaBit, kNaBits));
    const double correction = Signed(buffer, kTauCBit, kTauCBits) * kP2m27;
    // Nothing is handed out from a string that fails either test.
    if (dayNumber < kFirstDayNumber || dayNumber > kLastDayNumber) return false;
    if (std::fabs(correction) > kTauCLimit) return false;
    tauC = correction;
    NA = dayNumber;
    return true;
}
