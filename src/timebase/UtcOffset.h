#pragma once
// GPS minus UTC in whole seconds for a GPS time: from the installation's
// manufact.utc first, from a table in the code when that fails.
#include <cstdint>

#include "timebase/GpsTime.h"

class CUtcOffset {
public:
    // True with offset set. One object answers again without reading a file
    // while the day and week stay those of the last answer. Never throws; a
    // failure leaves its text in GetErrorText for the caller to pass on.
    bool GetUtcOffset(const GpsTime& time, int& offset);
    // The built-in table, for when the file fails. The week is taken as given.
    bool GetBackupUtcOffset(double seconds, int week, int& offset);

    const char* GetErrorText() const { return errorText; }
    bool IsValid() const { return valid != 0; }

private:
    void SetError(const char* text);
    // Fills the cache with an answer for the given day and week.
    void Remember(int value, const GpsTime& time);

    int32_t offset = 0;
    int32_t dayOfWeek = 0;
    int16_t week = 0;
    uint8_t valid = 0;
    char errorText[128] = {};
};
