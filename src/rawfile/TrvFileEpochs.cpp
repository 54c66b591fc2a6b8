// Epoch access of an open .trv file: the index, seeking, reading and writing.
#include <cstdio>

#include "rawfile/TrvFile.h"
#include "rawfile/TrvFileLayout.h"

using namespace trv;

int CTrvFile::EpochCount() const {
    if (version == 3) return static_cast<int>(Get<uint32_t>(headerV3, kV3EpochCountAt));
    return indexedEpochCount;
}

int CTrvFile::WriteRecord(const CGnssEpoch& epoch) {
    return version == 2 ? WriteRecordV2(epoch) : WriteRecordV3(epoch);
}

int CTrvFile::ReadRecord(CGnssEpoch& epoch) { return version == 2 ? ReadRecordV2(&epoch) : ReadRecordV3(epoch); }

bool CTrvFile::BuildEpochIndex() {
    if (!file) {
        SetError("TRV file not opened");
        return false;
    }
    epochIndex.clear();
    bool built = version == 2 ? IndexFileV2() : IndexFileV3();
    indexedEpochCount = static_cast<int>(epochIndex.size());
    RewindToFirstEpoch();
    return built;
}

bool CTrvFile::IndexFileV3() {
    if (fseeko(file, kTrvHeaderSize, SEEK_SET) != 0) return false;
    TrvRecordHeaderV3 header;
    GeodeticPosition position;
    try {
        for (;;) {
            TrvEpochIndexEntry entry{};
            entry.offset = ftello(file);
            // A bad header still gets an entry: the reader has moved on by the
            // 72 header bytes and tries again there.
            if (ReadRecordHeaderV3(header, position) < 0) break;
            entry.channels = header.satelliteCount;
            entry.flags = static_cast<int32_t>(header.epochFlags & kEpochBitsMask);
            entry.time.week = static_cast<int16_t>(header.week);
            entry.time.seconds = header.rawRcvTime;
            epochIndex.push_back(entry);
        }
    } catch (...) {
        SetError("Out of memory while indexing %s", fileName);
        return false;
    }
    return true;
}

bool CTrvFile::RewindToFirstEpoch() {
    currentEpoch = -1;
    readState = 0;
    return file && fseeko(file, kTrvHeaderSize, SEEK_SET) == 0;
}

bool CTrvFile::SeekEpoch(int index) {
    if (!file || index < 0 || index >= EpochCount() || static_cast<size_t>(index) >= epochIndex.size()) return false;
    if (fseeko(file, epochIndex[index].offset, SEEK_SET) != 0) return false;
    currentEpoch = index;
    readState = 4;
    return true;
}

int CTrvFile::ReadEpochAt(int index, CGnssEpoch& epoch) {
    if (!file) {
        SetError("Invalid TRV class setup");
        return 1;
    }
    readState = 0;
    if (!SeekEpoch(index)) return -1;
    readState = 0;
    int result = ReadRecord(epoch);
    if (result == 0) readState = 3;
    return result;
}

int CTrvFile::ReadNextEpoch(CGnssEpoch& epoch, bool forward) {
    if (!file) {
        SetError("Invalid TRV class setup");
        return 1;
    }
    const int count = EpochCount();
    int target;
    if (forward) {
        if (readState == 4)
            target = currentEpoch;
        else if (currentEpoch < 0)
            target = 0;
        else
            target = currentEpoch + 1;
        if (target >= count) return -1;
    } else {
        if (readState == 4)
            target = currentEpoch;
        else if (currentEpoch >= count)
            target = count - 1;
        else
            target = currentEpoch - 1;
        if (target < 0) return -1;
    }
    // After a read or a seek of the epoch before, the stream already stands at
    // the target: read on without a seek, which keeps the stream buffer.
    bool inPlace = forward && ((readState == 4 && target == currentEpoch) ||
                               ((readState == 1 || readState == 3) && target == currentEpoch + 1));
    if (!inPlace && !SeekEpoch(target)) {
        readState = 0;
        return -1;
    }
    // Even a bad record counts as passed, so that a loop over a damaged file
    // moves on rather than reading the same record again.
    currentEpoch = target;
    int result = ReadRecord(epoch);
    readState = result == 0 ? 1 : 0;
    return result;
}

int CTrvFile::WriteEpochAt(int index, const CGnssEpoch& epoch, bool flush) {
    if (!file || fileMode == kTrvRead || index < 0) {
        SetError("Invalid TRV class setup");
        return 1;
    }
    bool inPlace = index < EpochCount();
    TrvEpochIndexEntry appended{};
    if (inPlace) {
        if (static_cast<size_t>(index) >= epochIndex.size() ||
            fseeko(file, epochIndex[index].offset, SEEK_SET) != 0) {
            SetError("Invalid TRV class setup");
            return 1;
        }
    } else {
        if (fileMode != kTrvReadWrite) return 1;
        if (fseeko(file, 0, SEEK_END) != 0) {
            SetError("Failed to write epoch to disk");
            return 1;
        }
        appended.offset = ftello(file);
    }
    if (WriteRecord(epoch) != 0) {
        SetError("Failed to write epoch to disk");
        readState = 0;
        return 1;
    }
    if (inPlace) {
        // The stream now stands at the start of the next record; when that is
        // the new current epoch, the next forward read needs no seek.
        readState = currentEpoch == index ? 4 : 0;
        // A read may follow this write directly only after a flush.
        if (readState == 4 && !flush) fflush(file);
    } else {
        if (version == 3)
            Put<uint32_t>(headerV3, kV3EpochCountAt, Get<uint32_t>(headerV3, kV3EpochCountAt) + 1);
        appended.channels = static_cast<int32_t>(epoch.satelliteList.size());
        appended.flags = static_cast<int32_t>(epoch.flags & kEpochBitsMask);
        appended.time.week = static_cast<int16_t>(epoch.week);
        appended.time.seconds = epoch.rawRcvTime;
        try {
            epochIndex.push_back(appended);
        } catch (...) {
        }
        indexedEpochCount = static_cast<int>(epochIndex.size());
        readState = 0;
    }
    ++currentEpoch;
    if (flush) fflush(file);
    return 0;
}

int CTrvFile::AppendEpoch(const CGnssEpoch& epoch, bool flush) {
    if (!file || fileMode == kTrvRead) {
        SetError("Invalid TRV class setup");
        return 1;
    }
    if (WriteRecord(epoch) != 0) {
        SetError("Failed to write epoch to disk");
        return 1;
    }
    ++currentEpoch;
    if (flush) fflush(file);
    return 0;
}
