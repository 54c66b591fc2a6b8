#pragma once
// The QZSS L1 C/A assembler: the same subframes as GPS, decoded into a
// QzssEphemerisRecord that also keeps health, A-S and fit flags, the
// corrected mean motion and the accuracy in metres.
#include "navmsg/LnavNavigationMessage.h"

class CQzssNavigationMessage : public CLnavNavigationMessage {
public:
    explicit CQzssNavigationMessage(int layout) : CLnavNavigationMessage(layout) {}

    // record is a QzssEphemerisRecord; its prn is left for the caller.
    int GetEphemeris(void* record) override;
};
