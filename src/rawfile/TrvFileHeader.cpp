// Header level operations of an open .trv file.
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "rawfile/TrvFile.h"
#include "rawfile/TrvFileLayout.h"

using namespace trv;

namespace {
constexpr double kIntervalTolerance = 1e-6;
// Receiver types whose data came from a Trimble receiver; RINEX counts when
// the receiver name says so.
constexpr int kTrimbleTypes[] = {3, 25, 26, 29};
constexpr int kRinexType = 6;
constexpr int kHighestReceiverType = 41;
constexpr char kTrimbleName[] = "TRIMBLE";
}  // namespace

bool CTrvFile::WriteHeaderImage(const uint8_t* image) {
    if (!file || fileMode == kTrvRead) return false;
    if (fileMode == kTrvAppend) {
        // An append stream writes at the end whatever the position, so the
        // header goes through a second stream.
        fflush(file);
        FILE* header = fopen(fileName, "r+b");
        if (!header) return false;
        bool written = fwrite(image, 1, kTrvHeaderSize, header) == static_cast<size_t>(kTrvHeaderSize);
        return fclose(header) == 0 && written;
    }
    if (fseeko(file, 0, SEEK_SET) != 0) return false;
    bool written = fwrite(image, 1, kTrvHeaderSize, file) == static_cast<size_t>(kTrvHeaderSize);
    return fflush(file) == 0 && written;
}

int CTrvFile::UpdateHeaderInfo(const char* receiverName, const int* receiverType, bool stampDate, int /*reserved*/,
                               int dataKind, double dataInterval, const TrvPreprocessBlockV2* blockV2,
                               const TrvPreprocessBlockV3* blockV3) {
    if (!file) {
        SetError("TRV file not opened");
        return -1;
    }
    if (fileMode != kTrvWrite && fileMode != kTrvReadWrite) {
        SetError("UpdateHeaderInfo() only supports WRITE or READWRITE files");
        return -1;
    }
    const off_t position = ftello(file);
    int changes = 0;
    if (version == 3) {
        uint8_t* image = headerV3;
        if (receiverName) {
            uint8_t field[kNameFieldSize];
            PutName(field, 0, receiverName);
            if (memcmp(field, image + kV3ReceiverNameAt, kNameFieldSize) != 0) {
                memcpy(image + kV3ReceiverNameAt, field, kNameFieldSize);
                ++changes;
            }
        }
        if (receiverType && Get<uint16_t>(image, kV3ReceiverTypeAt) != static_cast<uint16_t>(*receiverType)) {
            Put<uint16_t>(image, kV3ReceiverTypeAt, static_cast<uint16_t>(*receiverType));
            ++changes;
        }
        if (stampDate) {
            PutLocalDate(image, kV3DateAt);
            ++changes;
        }
        if (dataKind >= 0) {
            double stored = Get<double>(image, kV3DataIntervalAt);
            if (stored - dataInterval > kIntervalTolerance || dataInterval - stored > kIntervalTolerance) {
                Put<double>(image, kV3DataIntervalAt, dataInterval);
                ++changes;
            }
        }
        if (blockV3) {
            memcpy(image + kV3PreprocessAt, blockV3, sizeof *blockV3);
            if (Get<uint16_t>(image, kV3FormatVersionAt) < kFormatVersion3)
                Put<uint16_t>(image, kV3FormatVersionAt, kFormatVersion3);
            ++changes;
        }
    } else {
        uint8_t* image = headerV2;
        if (receiverName) {
            PutName(image, kV2ReceiverNameAt, receiverName);
            ++changes;
        }
        if (receiverType) {
            Put<uint32_t>(image, kV2ReceiverTypeAt, static_cast<uint32_t>(*receiverType));
            ++changes;
        }
        if (stampDate) {
            PutLocalDate(image, kV2DateAt);
            ++changes;
        }
        if (dataKind >= 0) {
            Put<uint32_t>(image, kV2DataKindAt, static_cast<uint32_t>(dataKind));
            Put<double>(image, kV2DataIntervalAt, dataInterval);
            ++changes;
        }
        if (blockV2) {
            memcpy(image + kV2PreprocessAt, blockV2, sizeof *blockV2);
            if (Get<double>(image, kV2ProgramVersionAt) < kV2BlockSinceVersion)
                Put<double>(image, kV2ProgramVersionAt, kV2BlockStampVersion);
            ++changes;
        }
    }
    if (changes == 0) return 0;
    if (!WriteHeaderImage(version == 3 ? headerV3 : headerV2)) {
        SetError(version == 3 ? "Failure updating V3 file header in %s" : "Failure updating V2 file header in %s",
                 fileName);
        return -1;
    }
    if (version == 3 && position >= 0) fseeko(file, position, SEEK_SET);
    return changes;
}

int CTrvFile::ReceiverType() const {
    if (version == 3) return Get<uint16_t>(headerV3, kV3ReceiverTypeAt);
    if (version == 2) return static_cast<int>(Get<uint32_t>(headerV2, kV2ReceiverTypeAt));
    return 0;
}

const char* CTrvFile::ReceiverName() const {
    const uint8_t* field;
    if (version == 3)
        field = headerV3 + kV3ReceiverNameAt;
    else if (version == 2)
        field = headerV2 + kV2ReceiverNameAt;
    else
        return nullptr;
    memcpy(receiverNameText, field, kNameFieldSize);
    receiverNameText[kNameFieldSize] = '\0';
    return receiverNameText;
}

bool CTrvFile::IsPreprocessed() const {
    if (version == 3) return headerV3[kV3PreprocessAt] == 1;
    if (version == 2)
        return Get<double>(headerV2, kV2ProgramVersionAt) >= kV2BlockSinceVersion && headerV2[kV2PreprocessAt] != 0;
    return false;
}

bool CTrvFile::IsTrimbleData() const {
    if (version != 2 && version != 3) return false;
    const int type = ReceiverType();
    if (type > kHighestReceiverType) return false;
    for (int trimble : kTrimbleTypes)
        if (type == trimble) return true;
    if (type == kRinexType) return strncasecmp(ReceiverName(), kTrimbleName, sizeof kTrimbleName - 1) == 0;
    return false;
}
