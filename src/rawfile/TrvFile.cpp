// Opening, creating and closing of .trv files.
#include "rawfile/TrvFile.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "preprocess/DataIntervalAnalyser.h"
#include "rawfile/TrvFileLayout.h"

using namespace trv;

namespace {

// The summary's absolute seconds as a week and seconds. A damaged header can
// hold any number there; one outside the weeks a GpsTime can count gives
// the empty time.
GpsTime FromAbsoluteSeconds(double absolute) {
    constexpr double kLastWeek = 32767.0;
    GpsTime time{};
    if (!(absolute >= 0.0 && absolute < kLastWeek * kSecondsPerWeek)) return time;
    const int week = static_cast<int>(absolute / kSecondsPerWeek);
    time.week = static_cast<int16_t>(week);
    time.seconds = absolute - week * kSecondsPerWeek;
    return time;
}

const char* StreamMode(int mode) {
    switch (mode) {
        case kTrvRead: return "rb";
        case kTrvWrite: return "w+b";
        case kTrvReadWrite: return "r+b";
        case kTrvAppend: return "a+b";
        default: return nullptr;
    }
}

// Base name of the running program, for files created without a program name.
void RunningProgramName(char* out, size_t size) {
    char path[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    const char* name = "ublox2trv";
    if (length > 0) {
        path[length] = '\0';
        const char* slash = strrchr(path, '/');
        name = slash ? slash + 1 : path;
    }
    size_t i = 0;
    for (; i + 1 < size && name[i]; ++i) out[i] = name[i];
    if (size) out[i] = '\0';
}

}  // namespace

void trv::PutLocalDate(uint8_t* image, int offset) {
    time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    const int fields[6] = {local.tm_mon + 1, local.tm_mday, local.tm_year, local.tm_hour, local.tm_min, local.tm_sec};
    for (int i = 0; i < 6; ++i) Put<uint16_t>(image, offset + 2 * i, static_cast<uint16_t>(fields[i]));
}

CTrvFile::CTrvFile() {
    recordBuffer.reset(new (std::nothrow) uint8_t[kInitialRecordBuffer]);
    recordBufferSize = recordBuffer ? kInitialRecordBuffer : 0;
    streamBuffer.reset(new (std::nothrow) char[kStreamBufferSize]);
}

CTrvFile::~CTrvFile() { Close(false); }

void CTrvFile::SetError(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vsnprintf(errorText, sizeof errorText, format, args);
    va_end(args);
}

bool CTrvFile::GrowRecordBuffer(size_t size) {
    if (size <= recordBufferSize && recordBuffer) return true;
    // No copy: a caller that grows the buffer refills it completely.
    recordBuffer.reset(new (std::nothrow) uint8_t[size]);
    recordBufferSize = recordBuffer ? size : 0;
    return recordBuffer != nullptr;
}

void CTrvFile::ResetState() {
    if (file) fclose(file);
    file = nullptr;
    timeRange = GpsTimeRange();
    intervalAnalyser.reset();
    currentEpoch = -1;
    readState = 0;
    lastWrittenSize = 0;
    lastReadSize = 0;
    epochIndex.clear();
    memset(headerV3, 0, sizeof headerV3);
    indexedEpochCount = 0;
    epochInterval = 0.0;
    meanPosition = GeodeticPosition();
    hasL2Phase = 0;
    scanDone = 0;
    ephemerisRange = GpsTimeRange();
    ephemerisRangeState = 0;
    memset(headerV2, 0, sizeof headerV2);
    version = 3;
    fileMode = kTrvRead;
}

bool CTrvFile::OpenStream(const char* name, int mode) {
    const char* streamMode = StreamMode(mode);
    if (!streamMode) {
        SetError("Invalid FileMode");
        return false;
    }
    errno = 0;
    file = fopen(name, streamMode);
    if (!file) {
        int error = errno;
        if (mode == kTrvRead)
            SetError("Unable to open TRV file %s for reading--file may not exist (errno %d)", name, error);
        else if (mode == kTrvWrite)
            SetError("Unable to open TRV file %s for writing--file may be open (errno %d)", name, error);
        else
            SetError("Unable to open TRV file %s for read/write--May not exist or is read-only (errno %d)", name,
                     error);
        return false;
    }
    if (!streamBuffer || setvbuf(file, streamBuffer.get(), _IOFBF, kStreamBufferSize) != 0) {
        fclose(file);
        file = nullptr;
        SetError("Unable to create file buffer for '%s'", name);
        return false;
    }
    fileMode = mode;
    snprintf(fileName, sizeof fileName, "%s", name);
    currentEpoch = 0;
    errorText[0] = '\0';
    scanDone = 0;
    return true;
}

bool CTrvFile::Create(const char* name, int receiverType, const char* receiverName, const char* programName,
                      double programVersion, double dataInterval, const TrvPreprocessBlockV3* preprocessingBlock,
                      int fileVersion) {
    if (fileVersion == 1) {
        SetError("TRV Version %d is not supported any more.", fileVersion);
        return false;
    }
    if (fileVersion != 2 && fileVersion != 3) {
        Close(false);
        return false;
    }
    if (file) {
        SetError("Cannot create file--class already using a file %s", fileName);
        return false;
    }
    if (!name || !OpenStream(name, kTrvWrite)) return false;

    version = fileVersion;
    epochIndex.clear();
    indexedEpochCount = 0;
    char program[kNameFieldSize + 1];
    if (programName)
        snprintf(program, sizeof program, "%s", programName);
    else
        RunningProgramName(program, sizeof program);
    if (programVersion < 0.0) programVersion = kThisProgramVersion;

    uint8_t* image = fileVersion == 3 ? headerV3 : headerV2;
    memset(image, 0, kTrvHeaderSize);
    if (fileVersion == 3) {
        memcpy(image, kMagicV3, kMagicSize);
        Put<uint16_t>(image, kV3HeaderSizeAt, kTrvHeaderSize);
        Put<uint16_t>(image, kV3ReceiverTypeAt, static_cast<uint16_t>(receiverType));
        PutName(image, kV3ReceiverNameAt, receiverName ? receiverName : "");
        PutLocalDate(image, kV3DateAt);
        PutName(image, kV3ProgramNameAt, program);
        Put<double>(image, kV3ProgramVersionAt, programVersion);
        Put<double>(image, kV3DataIntervalAt, dataInterval);
        if (preprocessingBlock) memcpy(image + kV3PreprocessAt, preprocessingBlock, sizeof *preprocessingBlock);
        Put<uint16_t>(image, kV3FormatVersionAt, kFormatVersion3);
    } else {
        memcpy(image, kMagicV2, kMagicSize);
        Put<uint32_t>(image, kV2HeaderSizeAt, kTrvHeaderSize);
        Put<uint32_t>(image, kV2ReceiverTypeAt, static_cast<uint32_t>(receiverType));
        PutLocalDate(image, kV2DateAt);
        PutName(image, kV2ReceiverNameAt, receiverName ? receiverName : "");
        PutName(image, kV2ProgramNameAt, program);
        Put<double>(image, kV2ProgramVersionAt, programVersion);
        Put<uint32_t>(image, kV2DataKindAt, 1);
        Put<double>(image, kV2DataIntervalAt, dataInterval);
    }
    if (fwrite(image, 1, kTrvHeaderSize, file) != static_cast<size_t>(kTrvHeaderSize)) {
        fclose(file);
        file = nullptr;
        SetError("Failed to write header to file %s", name);
        return false;
    }
    fflush(file);
    lastWrittenSize = kTrvHeaderSize;
    return true;
}

int CTrvFile::IdentifyVersion(const char* name) {
    FILE* probe = fopen(name, "rb");
    struct stat info {};
    if (!probe || fstat(fileno(probe), &info) != 0 || info.st_size < kMinimumFileSize) {
        if (probe) fclose(probe);
        return -1;
    }
    int found = 0;
    uint8_t head[kTrvHeaderSize];
    if (fread(head, 1, kProbeSize, probe) == static_cast<size_t>(kProbeSize)) {
        if (memcmp(head, kMagicV2, kMagicSize) == 0) {
            found = 2;
        } else if (memcmp(head, kMagicV3, kMagicSize) == 0) {
            rewind(probe);
            if (fread(head, 1, kTrvHeaderSize, probe) == static_cast<size_t>(kTrvHeaderSize) &&
                Get<uint16_t>(head, kV3FormatVersionAt) == kFormatVersion3 &&
                Get<uint16_t>(head, kV3HeaderSizeAt) == kTrvHeaderSize && memcmp(head, kMagicV3, kMagicSize) == 0)
                found = 3;
        } else if (head[0] == kV1FirstByte && Get<float>(head, 2) == kV1Marker) {
            found = 1;
        }
    }
    fclose(probe);
    return found;
}

bool CTrvFile::OpenByVersion(const char* name, int mode, int fileVersion) {
    bool opened = fileVersion == 2 ? OpenV2(name, mode) : OpenV3(name, mode);
    indexedEpochCount = static_cast<int>(epochIndex.size());
    return opened;
}

bool CTrvFile::Open(const char* name, int mode, bool ensurePreprocessed) {
    indexedEpochCount = 0;
    if (file) {
        SetError("Cannot open file--class already using a file %s", fileName);
        return false;
    }
    if (!name) name = "";
    int fileVersion = IdentifyVersion(name);
    if (fileVersion < 0) {
        SetError("TRV file '%s' does not exist or cannot be opened for reading", name);
        return false;
    }
    if (fileVersion == 1) {
        SetError("Invalid TRV version %d is not supported", fileVersion);
        return false;
    }
    if (fileVersion == 0) {
        SetError("Invalid or unsupported TRV file type for '%s'", name);
        return false;
    }
    if (ensurePreprocessed) {
        if (!OpenByVersion(name, kTrvRead, fileVersion)) {
            Close(false);
            return false;
        }
        // Closing with checks pre-processes the file once, so that every
        // later open finds it done.
        Close(!IsPreprocessed());
    }
    return OpenByVersion(name, mode, fileVersion);
}

bool CTrvFile::OpenV3(const char* name, int mode) {
    if (!OpenStream(name, mode)) return false;
    version = 3;
    rewind(file);
    memset(headerV3, 0, sizeof headerV3);
    if (fread(headerV3, 1, kTrvHeaderSize, file) != static_cast<size_t>(kTrvHeaderSize) ||
        memcmp(headerV3, kMagicV3, kMagicSize) != 0 || Get<uint16_t>(headerV3, kV3HeaderSizeAt) != kTrvHeaderSize ||
        Get<uint16_t>(headerV3, kV3FormatVersionAt) != kFormatVersion3) {
        SetError("Failed to read header from %s.", name);
        fclose(file);
        file = nullptr;
        return false;
    }
    if (Get<uint32_t>(headerV3, kV3EpochCountAt) == 0 || Get<uint32_t>(headerV3, kV3IntervalMsAt) == 0 ||
        Get<double>(headerV3, kV3FirstTimeAt) == 0.0 || Get<double>(headerV3, kV3LastTimeAt) == 0.0 ||
        Get<double>(headerV3, kV3PositionAt) == 0.0 || Get<double>(headerV3, kV3PositionAt + 8) == 0.0 ||
        Get<double>(headerV3, kV3PositionAt + 16) == 0.0)
        RebuildSummaryV3();
    BuildEpochIndex();
    timeRange.first = FromAbsoluteSeconds(Get<double>(headerV3, kV3FirstTimeAt));
    timeRange.last = FromAbsoluteSeconds(Get<double>(headerV3, kV3LastTimeAt));
    lastReadSize = kTrvHeaderSize;
    return true;
}

void CTrvFile::Close(bool runChecks) {
    if (file && version == 3 && fileMode != kTrvRead) RebuildSummaryV3();
    if (file) fclose(file);
    file = nullptr;
    if (runChecks) {
        char name[kTrvFileNameSize];
        snprintf(name, sizeof name, "%s", fileName);
        ResetState();
        RunPreprocessingChecks(name);
    }
}
