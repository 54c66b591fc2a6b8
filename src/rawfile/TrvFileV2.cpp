// Version 2 files. Their records are not handled yet: identification and the
// header work, and these entry points refuse the rest with one clear text.
#include "rawfile/TrvFile.h"

namespace {
constexpr char kV2NotSupported[] = "TRV version 2 files are not supported yet";
}  // namespace

bool CTrvFile::OpenV2(const char* /*name*/, int /*mode*/) {
    SetError("%s", kV2NotSupported);
    return false;
}

int CTrvFile::WriteRecordV2(const CGnssEpoch& /*epoch*/) {
    SetError("%s", kV2NotSupported);
    return 1;
}

int CTrvFile::ReadRecordV2(CGnssEpoch* /*epoch*/) {
    SetError("%s", kV2NotSupported);
    return 1;
}

bool CTrvFile::IndexFileV2() {
    SetError("%s", kV2NotSupported);
    return false;
}
