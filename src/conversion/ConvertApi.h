#pragma once
// The binary interface of the converter: the two blocks a host fills and the
// seven exported functions. Offsets are the product's boundary and never move.
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define UBLOX2TRV_EXPORT __attribute__((visibility("default")))
#else
#define UBLOX2TRV_EXPORT
#endif

#define UBLOX2TRV_PARAMS_SIZE 2684
#define UBLOX2TRV_CALLBACKS_SIZE 288
#define UBLOX2TRV_STRUCT_VERSION 12
#define UBLOX2TRV_OPTIONS_SIZE 12

#pragma pack(push, 1)
typedef struct DecoderOptions {
    int32_t motionMode;      /* 1 kinematic, 2 static with automatic S/K check (default), other static */
    int32_t logAllMessages;  /* 0 hides detail messages */
    int32_t runChecks;       /* non-zero runs the pre-processing checks */
} DecoderOptions;

typedef struct ConvertParams {
    int32_t structSize;      /* 2684 */
    char inputFile[256];
    char outputFile[256];    /* full .trv name */
    int32_t structVersion;   /* 12 */
    DecoderOptions options;
    uint8_t reserved1[2036];
    int32_t epochsWritten;
    int32_t ephemeridesWritten;
    int32_t reserved2;
    int32_t eventsWritten;
    uint8_t reserved3[100];
} ConvertParams;

typedef void (*ConvertMessageCallback)(double time, const char* text);
typedef void (*ConvertProgressCallback)(int done, int total);

typedef struct ConvertCallbacks {
    int32_t structSize;      /* 288 */
    uint8_t reserved1[8];
    ConvertMessageCallback message;
    ConvertProgressCallback progress;
    uint8_t reserved2[260];
} ConvertCallbacks;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(DecoderOptions) == UBLOX2TRV_OPTIONS_SIZE);
static_assert(sizeof(ConvertParams) == UBLOX2TRV_PARAMS_SIZE);
static_assert(offsetof(ConvertParams, inputFile) == 4);
static_assert(offsetof(ConvertParams, outputFile) == 260);
static_assert(offsetof(ConvertParams, structVersion) == 516);
static_assert(offsetof(ConvertParams, options) == 520);
static_assert(offsetof(ConvertParams, reserved1) == 532);
static_assert(offsetof(ConvertParams, epochsWritten) == 2568);
static_assert(offsetof(ConvertParams, ephemeridesWritten) == 2572);
static_assert(offsetof(ConvertParams, reserved2) == 2576);
static_assert(offsetof(ConvertParams, eventsWritten) == 2580);
static_assert(offsetof(ConvertParams, reserved3) == 2584);
static_assert(sizeof(ConvertCallbacks) == UBLOX2TRV_CALLBACKS_SIZE);
static_assert(offsetof(ConvertCallbacks, message) == 12);
static_assert(offsetof(ConvertCallbacks, progress) == 20);
static_assert(offsetof(ConvertCallbacks, reserved2) == 28);
static_assert(sizeof(void*) == 8, "the callback block holds 64-bit pointers");
#endif

#ifdef __cplusplus
extern "C" {
#endif
UBLOX2TRV_EXPORT int32_t ConvertFile(ConvertParams* params, ConvertCallbacks* callbacks);
UBLOX2TRV_EXPORT int32_t AutoDetect(const char* path);
UBLOX2TRV_EXPORT void Abort(void);
UBLOX2TRV_EXPORT void GetErrString(char* destination);
UBLOX2TRV_EXPORT void SetFactoryDefaults(int32_t size, void* options);
UBLOX2TRV_EXPORT double _DLLVersionNumber_(void);
UBLOX2TRV_EXPORT int32_t _DLLVersionYear_(void);
#ifdef __cplusplus
}
#endif
