// Life of the decoder's state block: opened once per conversion, wiped on
// every open, freed by ClosePort.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "conversion/FileNames.h"
#include "conversion/HostMessages.h"
#include "conversion/PortArray.h"
#include "conversion/UbxDecoders.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisFileHeader.h"
#include "ephemeris/EphemerisStore.h"
#include "navmsg/INavigationMessage.h"
#include "rawfile/TrvFile.h"

namespace ublox2trv {

namespace {
constexpr int kUbloxReceiverType = 39;
constexpr const char* kProgramName = "UBLOX2TRV";
constexpr const char* kEphemerisExtension = ".epp";
}  // namespace

PortArray* portArray = nullptr;
int32_t portNeverOpened = 1;
int32_t unknownSignalWarnings = 0;

bool PortReports(int level) {
    return portArray != nullptr && portArray->message != nullptr &&
           (level < kLevelDetail || portArray->options.logAllMessages != 0);
}

void ReportPortMessageV(int level, double time, const char* format, va_list args) {
    if (!PortReports(level)) return;
    std::vsnprintf(errorText, sizeof errorText, format, args);
    portArray->message(level, time, errorText);
}

void ReportPortMessage(int level, double time, const char* format, ...) {
    va_list args;
    va_start(args, format);
    ReportPortMessageV(level, time, format, args);
    va_end(args);
}

// The store reports through the port's own message function. Assemblers
// are made on the first record of their satellite, so the table starts empty.
// A store that cannot be allocated leaves the port working without one:
// navigation records are then decoded but not kept.
void CreateNavigationState(PortArray& port) {
    port.ephemerisStore = new (std::nothrow) CEphemerisStore(port.message);
    for (auto& row : port.assemblers)
        for (INavigationMessage*& assembler : row) assembler = nullptr;
}

void ReleaseNavigationState(PortArray& port) {
    delete port.ephemerisStore;
    port.ephemerisStore = nullptr;
    for (auto& row : port.assemblers)
        for (INavigationMessage*& assembler : row) {
            delete assembler;
            assembler = nullptr;
        }
}

int OpenPort(PortMessageFunction message, CGnssEpoch* epoch) {
    portNeverOpened = 0;
    unknownSignalWarnings = 0;
    if (portArray == nullptr) {
        portArray = new (std::nothrow) PortArray;
        if (portArray == nullptr) {
            SetErrorText("Failed to allocate memory for PortArray");
            return 1;
        }
    } else {
        // A block left over from a conversion that was never closed.
        ReleaseNavigationState(*portArray);
    }
    PortArray& port = *portArray;
    std::memset(&port, 0, sizeof port);
    port.epoch = epoch;
    port.message = message;
    CreateNavigationState(port);
    port.state = kScanSearching;
    port.lastEpochTime = -1.0;
    port.gpsWeek = 0;
    port.eventCount = 0;
    for (int32_t& superframe : port.lastSuperframe) superframe = kNoGlonassSuperframe;
    for (int32_t& frame : port.lastFrame) frame = kNoGlonassFrame;
    return 0;
}

void SetPortOptions(const void* options, int size) {
    if (portArray == nullptr || options == nullptr || size != static_cast<int>(sizeof(DecoderOptions))) return;
    std::memcpy(&portArray->options, options, sizeof(DecoderOptions));
}

int WriteEphemerisFile(const char* path) {
    if (portArray == nullptr) return -1;
    if (portArray->ephemerisStore != nullptr)
        return SaveEphemerisFile(*portArray->ephemerisStore, path, false, kProgramName,
                                 ReceiverTypeName(kUbloxReceiverType), nullptr);
    // Without a store the file still gets its header line, as for an
    // empty store, so that the .trv has its companion.
    char name[kPathSize] = {};
    if (path != nullptr) std::snprintf(name, sizeof name, "%s", path);
    SetFileExtension(name, kEphemerisExtension, sizeof name);
    FILE* file = std::fopen(name, "w");
    if (file == nullptr) return 0;
    WriteEphemerisHeader(file, kProgramName, ReceiverTypeName(kUbloxReceiverType));
    std::fclose(file);
    return 0;
}

void ClosePort() {
    if (portArray == nullptr) return;
    ReleaseNavigationState(*portArray);
    delete portArray;
    portArray = nullptr;
}

}  // namespace ublox2trv
