// The summary fields of a version 3 header, rebuilt from the records.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include "preprocess/DataIntervalAnalyser.h"
#include "rawfile/TrvFile.h"
#include "rawfile/TrvFileLayout.h"

using namespace trv;

bool CTrvFile::RebuildSummaryV3() {
    if (!file) {
        SetError("TRV file not opened");
        return false;
    }
    // The old summary goes first: a rebuild that fails leaves the file's
    // header as it was, but the image no longer vouches for its counts.
    memset(headerV3 + kV3EpochCountAt, 0, kV3SummaryEnd - kV3EpochCountAt);
    if (!intervalAnalyser) intervalAnalyser.reset(new (std::nothrow) CDataIntervalAnalyser);
    if (!intervalAnalyser) {
        SetError("Could not read epoch header");
        return false;
    }
    intervalAnalyser->Reset();
    if (fseeko(file, kTrvHeaderSize, SEEK_SET) != 0) return false;

    // Summed in locals and put into the image only at the end.
    uint32_t count = 0;
    double firstTime = 0.0;
    double lastTime = 0.0;
    GeodeticPosition running;
    int staticEpochs = 0;
    bool sawKinematic = false;
    TrvRecordHeaderV3 header;
    for (;;) {
        if (fread(&header, sizeof header, 1, file) != 1) break;
        if (!HeaderPasses(header, kFastReaderTimeLimit)) {
            SetError("Could not read epoch header");
            return false;
        }
        const size_t bodySize = BodySizeV3(header.satelliteCount, header.signalCount);
        if (!GrowRecordBuffer(bodySize)) {
            SetError("Could not read epoch header");
            return false;
        }
        // The last time is that of the last header read, even when its body
        // turns out to be cut short.
        const double time = header.week * kSecondsPerWeek + header.rawRcvTime;
        lastTime = time;
        if (fread(recordBuffer.get(), 1, bodySize, file) != bodySize) break;

        ++count;
        if (firstTime == 0.0) firstTime = time;
        intervalAnalyser->Add(time);

        const uint8_t* body = recordBuffer.get();
        GeodeticPosition position{Get<double>(body, 0), Get<double>(body, 8), Get<double>(body, 16)};
        if (!IsUsablePosition(position)) continue;
        if (header.epochFlags & kEpochKinematic) {
            running = position;
            sawKinematic = true;
        } else {
            running.latitude += position.latitude;
            running.longitude += position.longitude;
            running.height += position.height;
            ++staticEpochs;
        }
    }
    // A kinematic file keeps its last position (plus any static epochs after
    // it, as the files have always stored it); a static file gets its mean.
    if (!sawKinematic && staticEpochs > 0) {
        running.latitude /= staticEpochs;
        running.longitude /= staticEpochs;
        running.height /= staticEpochs;
    }
    // Damaged records can make any interval; one that does not fit the field
    // is stored as unknown.
    const double measuredMs = intervalAnalyser->Interval() * 1000.0 + 0.5;
    const uint32_t intervalMs =
        measuredMs >= 0.0 && measuredMs < static_cast<double>(UINT32_MAX) ? static_cast<uint32_t>(measuredMs) : 0;
    Put<uint32_t>(headerV3, kV3EpochCountAt, count);
    Put<uint32_t>(headerV3, kV3IntervalMsAt, intervalMs);
    Put<double>(headerV3, kV3FirstTimeAt, firstTime);
    Put<double>(headerV3, kV3LastTimeAt, lastTime);
    Put<double>(headerV3, kV3PositionAt, running.latitude);
    Put<double>(headerV3, kV3PositionAt + 8, running.longitude);
    Put<double>(headerV3, kV3PositionAt + 16, running.height);
    // A file open for reading keeps the new summary in memory only.
    if (fileMode == kTrvRead) return true;
    return WriteHeaderImage(headerV3);
}
