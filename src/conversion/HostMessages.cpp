#include "conversion/HostMessages.h"

#include <cstdarg>
#include <cstdio>

namespace ublox2trv {

char errorText[kErrorTextSize] = {};
std::atomic<int32_t> abortCount{0};
int32_t logAll = 0;
ConvertCallbacks* hostCallbacks = nullptr;

void SetErrorText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(errorText, sizeof errorText, format, args);
    va_end(args);
}

void SendHostMessage(double time, const char* text) {
    if (hostCallbacks != nullptr && hostCallbacks->message != nullptr) hostCallbacks->message(time, text);
}

void FilterMessage(int level, double time, const char* text) {
    if (logAll == 0 && level >= kLevelDetail) return;
    SendHostMessage(time, text);
}

}  // namespace ublox2trv

#include <cstring>

#include "conversion/Converter.h"

namespace ublox2trv {

void Abort() { abortCount.fetch_add(1, std::memory_order_relaxed); }

void GetErrString(char* destination) {
    if (destination != nullptr) std::memcpy(destination, errorText, std::strlen(errorText) + 1);
}

}  // namespace ublox2trv
