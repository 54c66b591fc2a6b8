#pragma once
// The converter's seven entry points as C++ functions. The shared library's
// C exports are thin wrappers round these; tests call them directly.
#include <cstdint>

#include "conversion/ConvertApi.h"

namespace ublox2trv {

inline constexpr int32_t kBuildYear = 2024;

// motionMode: every epoch kinematic; any other value writes them static,
// and automatic also lets the checks settle the flags by the dynamics.
inline constexpr int32_t kMotionKinematic = 1;
inline constexpr int32_t kMotionAutomatic = 2;

// Converts one UBX log into .trv, .epp and .sta files; 0 success, 1 failure
// or abort, with the reason in the error text.
int32_t ConvertFile(ConvertParams* params, ConvertCallbacks* callbacks);
// 1 when the head of the file holds a well-formed UBX frame, else 0.
int32_t AutoDetect(const char* path);
// Asks a running conversion to stop at the next block boundary.
void Abort();
// Copies the error text with its NUL; the destination must hold 512 bytes.
void GetErrString(char* destination);
// Writes the default DecoderOptions when size is exactly 12.
void SetFactoryDefaults(int32_t size, void* options);
double _DLLVersionNumber_();
int32_t _DLLVersionYear_();

}  // namespace ublox2trv
