#pragma once
// Process-wide conversion state shared by the driver and the decoders, and
// the two routes by which words reach the host.
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "conversion/ConvertApi.h"

namespace ublox2trv {

inline constexpr size_t kErrorTextSize = 512;
// Message levels: level 2 always reaches the host, level 3 only when the
// host asked for all messages.
inline constexpr int kLevelAlways = 2;
inline constexpr int kLevelDetail = 3;
// The time argument of a message that speaks of no particular time.
inline constexpr double kNoMessageTime = -1.0;

// The one error text. It is also the formatting buffer of nearly every
// message, so after a success it holds whatever was built last.
extern char errorText[kErrorTextSize];
// Raised by Abort, possibly from another thread of the host; the driver
// polls it between blocks. Relaxed atomics keep that free of data races.
extern std::atomic<int32_t> abortCount;
// Copy of DecoderOptions::logAllMessages for the running conversion.
extern int32_t logAll;
// The caller's callback block, kept for the whole of ConvertFile.
extern ConvertCallbacks* hostCallbacks;

// Formats into the error text (truncating at 511 characters).
void SetErrorText(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Hands the text to the host's message callback when there is one.
void SendHostMessage(double time, const char* text);
// Drops detail messages unless the host asked for all, then sends. The
// level itself never reaches the host.
void FilterMessage(int level, double time, const char* text);

}  // namespace ublox2trv
