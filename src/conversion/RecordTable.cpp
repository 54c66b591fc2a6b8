#include "conversion/PortArray.h"
#include "conversion/RxmEphDecoder.h"
#include "conversion/UbxDecoders.h"

namespace ublox2trv {

namespace {

// Searched from the top. The RXM-EPH row has no count field: its item test
// is by division only.
constexpr RecordRow kRecordTable[] = {
    {kClassRxm, kIdRxmRaw, "MEASUREMENT", 14, 24, 12, 1, DecodeRxmRaw},
    {kClassRxm, kIdRxmRawx, "MEASUREMENTX", 22, 32, 17, 1, DecodeRxmRawx},
    {kClassRxm, kIdRxmEph, "EPHEMERIS", 8, 96, 0, 0, DecodeRxmEph},
    {kClassRxm, kIdRxmSfrbx, "RAWSUBFRAMEX", 14, 4, 10, 1, DecodeRxmSfrbx},
    {kClassNav, kIdNavPosllh, "POSITION", 36, 0, 0, 0, DecodeNavPosllh},
    {kClassTim, kIdTimTm2, "TIMEMARK", 36, 0, 0, 0, DecodeTimTm2},
};

}  // namespace

const RecordRow* FindRecord(int messageClass, int id) {
    for (const RecordRow& row : kRecordTable)
        if (row.messageClass == messageClass && row.id == id) return &row;
    return nullptr;
}

}  // namespace ublox2trv
