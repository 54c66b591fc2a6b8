// The conversion driver: one call turns one UBX log into the .trv, .epp and
// .sta files beside each other. The log is read in blocks and handed to the
// frame scanner byte by byte; complete epochs go to the raw file and event
// marks to the station file as the scanner reports them.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "conversion/Converter.h"
#include "conversion/FileNames.h"
#include "conversion/HostMessages.h"
#include "conversion/PortArray.h"
#include "preprocess/TrvPreprocessor.h"
#include "rawfile/TrvFile.h"
#include "timebase/StationRecord.h"

namespace ublox2trv {

namespace {

constexpr size_t kReadBlockSize = 2048;
// The input stream's own buffer: the log is handed on 2048 bytes at a time,
// but taken from the disk in larger reads.
constexpr size_t kInputStreamBuffer = 65536;
constexpr int kUbloxReceiverType = 39;
constexpr int kRawFileVersion = 3;
constexpr const char* kProgramName = "UBLOX2TRV";
constexpr const char* kRawExtension = ".trv";
constexpr const char* kEphemerisExtension = ".epp";
constexpr const char* kStationExtension = ".sta";

// The paths of the run, the read buffer and, behind it, the station record
// that the decoders fill. Static: one conversion at a time per process.
struct DriverBuffers {
    char rawPath[kPathSize];
    char ephemerisPath[kPathSize];
    char stationPath[kPathSize];
    char inputPath[kPathSize];
    uint8_t readBuffer[kReadBlockSize];
    StationRecord stationRecord;
    char inputStreamBuffer[kInputStreamBuffer];
};
DriverBuffers buffers;

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<FILE, FileCloser>;

// Closes the port if an early return or an exception leaves it open.
struct PortCloser {
    ~PortCloser() { ClosePort(); }
};

// The host's callback block is used for the length of one call only; no
// message may reach it once the call has returned.
struct CallbackScope {
    explicit CallbackScope(ConvertCallbacks* callbacks) { hostCallbacks = callbacks; }
    ~CallbackScope() { hostCallbacks = nullptr; }
};

void CopyPath(char (&to)[kPathSize], const char* from) {
    std::memcpy(to, from, kPathSize);
    to[kPathSize - 1] = '\0';
}

int64_t InputLength(FILE* file) {
    struct stat status;
    if (fstat(fileno(file), &status) != 0 || status.st_size < 0) return 0;
    return static_cast<int64_t>(status.st_size);
}

// Bytes are counted in 64 bits, but the host's progress callback takes 32:
// a log beyond 2 GiB is reported in units of 2, 4, 8 ... bytes, chosen once
// from its length, so that both numbers fit and done never runs backwards.
int ProgressShift(int64_t total) {
    int shift = 0;
    while ((total >> shift) > INT32_MAX) ++shift;
    return shift;
}

int32_t ProgressValue(int64_t bytes, int shift) {
    const int64_t scaled = bytes >> shift;
    return scaled > INT32_MAX ? INT32_MAX : static_cast<int32_t>(scaled);
}

bool BlocksAreValid(const ConvertParams* params, const ConvertCallbacks* callbacks) {
    return params != nullptr && callbacks != nullptr && params->structSize == UBLOX2TRV_PARAMS_SIZE &&
           callbacks->structSize == UBLOX2TRV_CALLBACKS_SIZE && params->structVersion == UBLOX2TRV_STRUCT_VERSION;
}

void ReportProgress(int32_t done, int32_t total) {
    if (hostCallbacks->progress != nullptr) hostCallbacks->progress(done, total);
}

// The checks over the new raw file, by the name the host gave: they repair
// it in place and may leave side files beside it. Their report table stays
// with them; the results block in the file's header is what lasts.
int32_t RunPreprocessingChecks(const ConvertParams& params) {
    FilterMessage(kLevelAlways, kNoMessageTime, "Performing pre-processing checks...");
    RunChecksOnFile(params.outputFile, hostCallbacks->progress, params.options.motionMode == kMotionAutomatic,
                    true, true, nullptr);
    return abortCount.load(std::memory_order_relaxed) != 0 ? 1 : 0;
}

}  // namespace

int32_t ConvertFile(ConvertParams* params, ConvertCallbacks* callbacks) {
    if (!BlocksAreValid(params, callbacks)) {
        SetErrorText("Incorrect version of ublox2trv.dll");
        return 1;
    }

    CallbackScope callbackScope(callbacks);
    abortCount.store(0, std::memory_order_relaxed);
    logAll = params->options.logAllMessages;
    CopyPath(buffers.inputPath, params->inputFile);
    CopyPath(buffers.rawPath, params->outputFile);
    CopyPath(buffers.ephemerisPath, params->outputFile);
    CopyPath(buffers.stationPath, params->outputFile);
    // A name too long to take an extension whole would give the three files
    // one cut name, and they would be written over each other.
    if (!SetFileExtension(buffers.rawPath, kRawExtension, kPathSize) ||
        !SetFileExtension(buffers.ephemerisPath, kEphemerisExtension, kPathSize) ||
        !SetFileExtension(buffers.stationPath, kStationExtension, kPathSize)) {
        SetErrorText("Error: Output file name is too long: %s", params->outputFile);
        return 1;
    }

    FileHandle input(std::fopen(buffers.inputPath, "rb"));
    if (!input) {
        SetErrorText("Error: Unable to open %s", buffers.inputPath);
        return 1;
    }
    std::setvbuf(input.get(), buffers.inputStreamBuffer, _IOFBF, sizeof buffers.inputStreamBuffer);
    FileHandle station(std::fopen(buffers.stationPath, "w"));
    if (!station) {
        SetErrorText("Error: Unable to open %s", buffers.stationPath);
        return 1;
    }

    char version[kVersionTextSize];
    FormatVersion(_DLLVersionNumber_(), version, sizeof version);
    char firstLine[kPathSize];
    std::snprintf(firstLine, sizeof firstLine, "$STAINFO Ver %s UBLOX2TRV U-blox\n", version);
    std::fprintf(station.get(), "%s", firstLine);

    auto raw = std::make_unique<CTrvFile>();
    if (!raw->Create(buffers.rawPath, kUbloxReceiverType, nullptr, kProgramName, -1.0, 0.0, nullptr,
                     kRawFileVersion)) {
        SetErrorText("%s", raw->ErrorText());
        return 1;
    }

    // The port is closed before the epoch it points to goes away.
    CGnssEpoch epoch;
    PortCloser portCloser;
    if (OpenPort(FilterMessage, &epoch) != 0) return 1;
    SetPortOptions(&params->options, UBLOX2TRV_OPTIONS_SIZE);
    const int64_t length = InputLength(input.get());
    const int shift = ProgressShift(length);
    const int32_t total = ProgressValue(length, shift);

    int32_t epochs = 0;
    int32_t events = 0;
    int64_t done = 0;
    while (!std::feof(input.get())) {
        if (abortCount.load(std::memory_order_relaxed) != 0) break;
        const size_t read = std::fread(buffers.readBuffer, 1, kReadBlockSize, input.get());
        done += static_cast<int64_t>(read);

        for (size_t i = 0; i < read;) {
            size_t used = 0;
            const int result = DecodeBytes(buffers.readBuffer + i, read - i, used, &buffers.stationRecord);
            i += used;
            if (result == kDecodeEpoch) {
                if (raw->AppendEpoch(epoch, true) != 0)
                    FilterMessage(kLevelAlways, epoch.rawRcvTime, raw->ErrorText());
                else
                    ++epochs;
                epoch.Reset();
            } else if (result == kDecodeStationRecord) {
                StationRecord mark;
                std::memcpy(&mark, &buffers.stationRecord, sizeof mark);
                // A failed write goes to the host unfiltered and the run goes on.
                if (WriteStationRecord(station.get(), &mark, errorText) != 0)
                    SendHostMessage(kNoMessageTime, errorText);
                else
                    ++events;
            }
        }

        ReportProgress(ProgressValue(done, shift), total);
        if (abortCount.load(std::memory_order_relaxed) != 0) SetErrorText("User Quit");
        // A read error that is no end of file ends the run here; the files
        // hold what was read, and the host is told that the log was cut.
        if (std::ferror(input.get())) {
            SetErrorText("Error: Unable to read %s beyond byte %lld", buffers.inputPath,
                         static_cast<long long>(done));
            FilterMessage(kLevelAlways, kNoMessageTime, errorText);
            break;
        }
    }
    ReportProgress(total, total);

    // Also after an abort, so a stopped run leaves a complete set of files.
    params->epochsWritten = epochs;
    params->ephemeridesWritten = WriteEphemerisFile(buffers.ephemerisPath);
    params->eventsWritten = events;

    ClosePort();
    input.reset();
    station.reset();
    raw->Close();
    raw.reset();

    if (abortCount.load(std::memory_order_relaxed) != 0) return 1;
    if (params->options.runChecks == 0) return 0;
    return RunPreprocessingChecks(*params);
}

}  // namespace ublox2trv
