#pragma once
// The GPS L1 C/A assembler: subframes 1 to 3 of one satellite into a
// GpsEphemerisRecord.
#include "navmsg/LnavNavigationMessage.h"

class CGpsNavigationMessage : public CLnavNavigationMessage {
public:
    explicit CGpsNavigationMessage(int layout) : CLnavNavigationMessage(layout) {}

    // record is a GpsEphemerisRecord; its prn is left for the caller.
    int GetEphemeris(void* record) override;
};
