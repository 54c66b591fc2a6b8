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
#include "ephemeris/EphemerisFileHeader.h"
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

void ReportPortMessage(int level, double time, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(errorText, sizeof errorText, format, args);
    va_end(args);
    if (portArray != nullptr && portArray->message != nullptr) portArray->message(level, time, errorText);
}

// The ephemeris store and the per-satellite assemblers arrive with the
// navigation decoders; until then the port holds none and both stay null.
void CreateNavigationState(PortArray& port) {
    port.ephemerisStore = nullptr;
    for (auto& row : port.assemblers)
        for (INavigationMessage*& assembler : row) assembler = nullptr;
}

void ReleaseNavigationState(PortArray& port) {
    port.ephemerisStore = nullptr;
    for (auto& row : port.assemblers)
        for (INavigationMessage*& assembler : row) assembler = nullptr;
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
    // The store is written by the ephemeris file writer once it exists; for
    // now the file holds its header line alone, as for an empty store.
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
