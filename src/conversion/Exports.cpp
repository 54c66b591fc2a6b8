// The product boundary: the seven C functions of the shared library. Each
// calls its C++ counterpart and lets no exception cross into the host.
#include <exception>

#include "conversion/ConvertApi.h"
#include "conversion/Converter.h"
#include "conversion/HostMessages.h"

extern "C" {

int32_t ConvertFile(ConvertParams* params, ConvertCallbacks* callbacks) {
    try {
        return ublox2trv::ConvertFile(params, callbacks);
    } catch (const std::exception& e) {
        ublox2trv::SetErrorText("Internal error: %s", e.what());
    } catch (...) {
        ublox2trv::SetErrorText("Internal error: unexpected exception");
    }
    return 1;
}

int32_t AutoDetect(const char* path) {
    try {
        return ublox2trv::AutoDetect(path);
    } catch (...) {
        return 0;
    }
}

void Abort(void) {
    try {
        ublox2trv::Abort();
    } catch (...) {
    }
}

void GetErrString(char* destination) {
    try {
        ublox2trv::GetErrString(destination);
    } catch (...) {
    }
}

void SetFactoryDefaults(int32_t size, void* options) {
    try {
        ublox2trv::SetFactoryDefaults(size, options);
    } catch (...) {
    }
}

double _DLLVersionNumber_(void) {
    try {
        return ublox2trv::_DLLVersionNumber_();
    } catch (...) {
        return 0.0;
    }
}

int32_t _DLLVersionYear_(void) {
    try {
        return ublox2trv::_DLLVersionYear_();
    } catch (...) {
        return 0;
    }
}

}  // extern "C"
