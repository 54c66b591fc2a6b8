// The option defaults and the version a host asks for before it converts.
#include "conversion/Converter.h"
#include "rawfile/TrvFile.h"

namespace ublox2trv {

namespace {
constexpr int32_t kDefaultMotionMode = kMotionAutomatic;
constexpr int32_t kDefaultLogAll = 0;
constexpr int32_t kDefaultRunChecks = 1;
}  // namespace

void SetFactoryDefaults(int32_t size, void* options) {
    if (size != UBLOX2TRV_OPTIONS_SIZE || options == nullptr) return;
    DecoderOptions* defaults = static_cast<DecoderOptions*>(options);
    defaults->motionMode = kDefaultMotionMode;
    defaults->logAllMessages = kDefaultLogAll;
    defaults->runChecks = kDefaultRunChecks;
}

double _DLLVersionNumber_() { return kThisProgramVersion; }

int32_t _DLLVersionYear_() { return kBuildYear; }

}  // namespace ublox2trv
