// RXM-SFRBX: the raw navigation words of one satellite go to that
// satellite's assembler; a complete set becomes an ephemeris in the store.
// This file knows no bit of any navigation message: it decides what to
// refuse, when to reset an assembler, and what to log.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "conversion/HostMessages.h"
#include "conversion/PortArray.h"
#include "conversion/UbxDecoders.h"
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/EphemerisStore.h"
#include "navmsg/BeiDouD1NavigationMessage.h"
#include "navmsg/GalileoINavNavigationMessage.h"
#include "navmsg/GlonassNavigationMessage.h"
#include "navmsg/GpsIonosphereDecoder.h"
#include "navmsg/GpsNavigationMessage.h"
#include "navmsg/INavigationMessage.h"
#include "navmsg/QzssNavigationMessage.h"

namespace ublox2trv {

namespace {

// Payload offsets of RXM-SFRBX.
constexpr int kGnssIdAt = kUbxHeaderSize + 0;
constexpr int kSvIdAt = kUbxHeaderSize + 1;
constexpr int kFreqIdAt = kUbxHeaderSize + 3;
constexpr int kNumWordsAt = kUbxHeaderSize + 4;
constexpr int kWordsAt = kUbxHeaderSize + 8;

// u-blox gnssId values.
enum UbloxGnss : int { kUbxGps = 0, kUbxSbas = 1, kUbxGalileo = 2, kUbxBeiDou = 3, kUbxImes = 4, kUbxQzss = 5,
                       kUbxGlonass = 6 };

// Assemblers read their input as 32-bit words with two spare bits on top.
constexpr int kWordLayout = 1;
// The GLONASS frame numbers stand in the fourth word.
constexpr int kGlonassFrameWord = 3;
constexpr int kGlonassTimeString = 5;
// BeiDou PRN 1 to 5 are the geostationary satellites of the D2 message.
constexpr int kFirstBeiDouD1Prn = 6;
// RXM-SFRBX of QZSS L1C/A carries ten words; eight words are L1C/B or L1S.
constexpr int kQzssRejectedWordCount = 8;
// Assemblers read whole subframes; a short record reads zeros behind its
// own words instead of those of the record before it.
constexpr int kZeroTail = 64;
// A frame holds at most this many words.
constexpr int kExpandedCapacity = kFrameBufferSize;

uint8_t expanded[kExpandedCapacity + kZeroTail];

INavigationMessage* BuiltInAssembler(GnssConstellation constellation) {
    switch (constellation) {
        case kGps: return new (std::nothrow) CGpsNavigationMessage(kWordLayout);
        case kQzss: return new (std::nothrow) CQzssNavigationMessage(kWordLayout);
        case kBeiDou: return new (std::nothrow) CBeiDouD1NavigationMessage(kWordLayout);
        case kGalileo: return new (std::nothrow) CGalileoINavE1bNavigationMessage(kWordLayout);
        case kGlonass: return new (std::nothrow) CGlonassNavigationMessage();
        default: return nullptr;
    }
}

NavigationAssemblerFactory assemblerFactory = BuiltInAssembler;

void Note(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Note(const char* format, ...) {
    va_list args;
    va_start(args, format);
    ReportPortMessageV(kLevelDetail, kNoMessageTime, format, args);
    va_end(args);
}

uint32_t WordAt(const uint8_t* words, int index) {
    const uint8_t* p = words + 4 * index;
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}

// The per-constellation words of the common procedure.
struct KeplerRoute {
    GnssConstellation constellation;
    const char* invalidPrn;      // with the svId
    const char* storeFailure;    // with the name and the assembler's words
    const char* stored;          // with the name and the unit's number
};

constexpr KeplerRoute kGpsRoute = {kGps, "RXM-SFRBX: Cannot decode GPS subframe. Invalid PRN %d",
                                   "RXM-SFRBX: %s - Failed to store subframe. %s", "RXM-SFRBX: %s - Stored subframe %d"};
constexpr KeplerRoute kQzssRoute = {kQzss, "RXM-SFRBX: Cannot decode QZSS subframe. Invalid PRN %d",
                                    "RXM-SFRBX: %s - Failed to store subframe. %s", "RXM-SFRBX: %s - Stored subframe %d"};
constexpr KeplerRoute kBeiDouRoute = {kBeiDou, "RXM-SFRBX: Cannot decode BeiDou subframe. Invalid PRN %d",
                                      "RXM-SFRBX: %s - Failed to store subframe. %s",
                                      "RXM-SFRBX: %s - Stored subframe %d"};
constexpr KeplerRoute kGalileoRoute = {kGalileo, "RXM-SFRBX: Cannot decode Galileo word. Invalid PRN %d",
                                       "RXM-SFRBX: %s - Failed to store word. %s", "RXM-SFRBX: %s - Stored word %d"};

// Room for the flat record of any constellation.
union AnyEphemerisRecord {
    GpsEphemerisRecord gps;
    QzssEphemerisRecord qzss;
    BdsEphemerisRecord beidou;
    GalEphemerisRecord galileo;
    GloEphemerisRecord glonass;
};

// The assembler of a satellite, created on first use; null when none can be.
INavigationMessage* AssemblerFor(GnssConstellation constellation, int prn) {
    INavigationMessage*& assembler = portArray->assemblers[constellation][prn];
    if (assembler != nullptr) return assembler;
    // A failed allocation leaves the entry null; the next record tries again.
    assembler = assemblerFactory(constellation);
    return assembler;
}

// Takes the decoded record of a complete assembler into the store.
bool StoreRecord(GnssConstellation constellation, AnyEphemerisRecord& record) {
    CEphemerisStore* store = portArray->ephemerisStore;
    if (store == nullptr) return false;
    switch (constellation) {
        case kGps: return store->AddGps(record.gps);
        case kQzss: return store->AddQzss(record.qzss);
        case kBeiDou: return store->AddBeiDou(record.beidou);
        case kGalileo: return store->AddGalileo(record.galileo);
        case kGlonass: return store->AddGlonass(record.glonass);
        default: return false;
    }
}

// The decoding and storing of a complete set, common to all constellations.
int FinishEphemeris(INavigationMessage& assembler, GnssConstellation constellation, int svId, int freqId,
                    const char* name) {
    AnyEphemerisRecord record;
    std::memset(&record, 0, sizeof record);
    const int decoded = assembler.GetEphemeris(&record);
    switch (constellation) {
        case kGps: record.gps.prn = svId; break;
        case kQzss: record.qzss.prn = svId; break;
        case kBeiDou: record.beidou.prn = svId; break;
        case kGlonass:
            record.glonass.prn = svId;
            record.glonass.channel = freqId - 7;
            break;
        default: break;   // Galileo: the words name the satellite
    }
    // Whatever the decoding said, the set is done with: a bad set must not
    // linger and spoil the next one.
    assembler.Reset();
    if (constellation == kGlonass) {
        portArray->lastSuperframe[svId] = kNoGlonassSuperframe;
        portArray->lastFrame[svId] = kNoGlonassFrame;
    }
    if (decoded == 0) {
        Note("RXM-SFRBX: %s - Failed to decode navigation message. %s", name, assembler.ErrorText().c_str());
        return kDecodeNothing;
    }
    if (!StoreRecord(constellation, record)) {
        Note("RXM-SFRBX: %s - Could not store ephemeride", name);
        return kDecodeNothing;
    }
    Note("RXM-SFRBX: %s - Successfully saved ephemeride", name);
    return kDecodeEphemeris;
}

// GPS, QZSS, BeiDou and Galileo: subframes or words in numbered slots.
int RouteKeplerUnit(const KeplerRoute& route, int svId, const uint8_t* words, int numWords) {
    SatelliteId satellite;
    if (!satellite.Set(route.constellation, svId)) {
        Note(route.invalidPrn, svId);
        return kDecodeNothing;
    }
    char name[32];
    satellite.ShortText(name);
    if (portArray->assemblers[route.constellation][svId] == nullptr && route.constellation == kBeiDou &&
        svId < kFirstBeiDouD1Prn) {
        Note("RXM-SFRBX: Cannot decode BeiDou subframe. Geostationary satellites use unsupported D2 navigation message");
        return kDecodeNothing;
    }
    INavigationMessage* assembler = AssemblerFor(route.constellation, svId);
    if (assembler == nullptr) return kDecodeNothing;

    // No reset on a refusal: the assembler judges its own slots.
    const int unit = assembler->Store(ExpandWordsToBytes(words, numWords * 4));
    if (unit <= 0 || unit > assembler->GetItemCount()) {
        Note(route.storeFailure, name, assembler->ErrorText().c_str());
        return kDecodeNothing;
    }
    Note(route.stored, name, unit);
    if (!assembler->IsComplete()) return kDecodeNothing;
    return FinishEphemeris(*assembler, route.constellation, svId, 0, name);
}

// Subframe 4 page 18 carries the broadcast ionospheric model. The first page
// that passes its parity stands for the whole conversion: the coefficients
// change a few times a week at most, and one model is what the .epp holds.
// The assembler still sees the subframe, and no message is added.
void KeepGpsIonosphere(const uint8_t* words, int numWords) {
    CEphemerisStore* store = portArray->ephemerisStore;
    if (store == nullptr || numWords != kLnavWordCount || (store->Ionosphere().flags & kIonosphereModelValid) != 0)
        return;
    uint32_t lnav[kLnavWordCount];
    for (int w = 0; w < kLnavWordCount; ++w) lnav[w] = WordAt(words, w);
    IonosphereModelRecord model{};
    if (DecodeGpsIonosphere(lnav, model)) store->SetIonosphere(model);
}

int RouteGlonassString(int svId, int freqId, const uint8_t* words, int numWords) {
    if (numWords < 4) {
        Note("RXM-SFRBX: Cannot decode GLONASS string. No superframe/frame information in record");
        return kDecodeNothing;
    }
    if (svId == 255) {
        Note("RXM-SFRBX: Cannot decode GLONASS string. GLONASS PRN numbers not yet known");
        return kDecodeNothing;
    }
    SatelliteId satellite;
    if (!satellite.Set(kGlonass, svId)) {
        Note("RXM-SFRBX: Cannot decode GLONASS string. Invalid PRN %d", svId);
        return kDecodeNothing;
    }
    char name[32];
    satellite.ShortText(name);
    INavigationMessage* assembler = AssemblerFor(kGlonass, svId);
    if (assembler == nullptr) return kDecodeNothing;

    // The receiver's frame numbers are the only outside sign of which
    // strings belong together: a change throws the partial set away.
    const uint32_t frameWord = WordAt(words, kGlonassFrameWord);
    const int32_t superframe = static_cast<int32_t>(frameWord >> 16);
    const int32_t frame = static_cast<int32_t>(frameWord & 0xFF);
    int32_t& lastSuperframe = portArray->lastSuperframe[svId];
    int32_t& lastFrame = portArray->lastFrame[svId];
    if (lastSuperframe != kNoGlonassSuperframe && lastSuperframe != superframe) {
        Note("RXM-SFRBX: %s - New navigation superframe detected. Resetting GLONASS ephemeris decoding", name);
        assembler->Reset();
        lastSuperframe = kNoGlonassSuperframe;
        lastFrame = kNoGlonassFrame;
    } else if (lastFrame != kNoGlonassFrame && lastFrame != frame) {
        Note("RXM-SFRBX: %s - New navigation frame detected. Resetting GLONASS ephemeris decoding", name);
        assembler->Reset();
        lastSuperframe = kNoGlonassSuperframe;
        lastFrame = kNoGlonassFrame;
    }

    const int string = assembler->Store(ExpandWordsToBytes(words, numWords * 4));
    if (string <= 0) {
        Note("RXM-SFRBX: %s - Failed to store string. %s", name, assembler->ErrorText().c_str());
        return kDecodeNothing;
    }
    // Only a string the assembler took starts or continues a frame.
    lastSuperframe = superframe;
    lastFrame = frame;
    if (string <= assembler->GetItemCount()) {
        Note("RXM-SFRBX: %s - Stored string %d", name, assembler->GetLastStored());
    } else if (string == kGlonassTimeString) {
        double tauC = 0.0;
        int dayNumber = 0;
        if (ReadString5(ExpandWordsToBytes(words, numWords * 4), tauC, dayNumber) &&
            portArray->ephemerisStore != nullptr)
            portArray->ephemerisStore->AddGlonassTimeOffset(tauC, dayNumber);
    }
    if (!assembler->IsComplete()) return kDecodeNothing;
    return FinishEphemeris(*assembler, kGlonass, svId, freqId, name);
}

}  // namespace

const uint8_t* ExpandWordsToBytes(const uint8_t* words, int byteCount) {
    if (byteCount < 0) byteCount = 0;
    if (byteCount > kExpandedCapacity) byteCount = kExpandedCapacity;
    // Whole words are reversed in one go; a count that is no multiple of
    // four takes the leading bytes of the last word.
    for (int i = 0; i < byteCount; i += 4) {
        const uint8_t* word = words + i;
        const int take = byteCount - i < 4 ? byteCount - i : 4;
        for (int k = 0; k < take; ++k) expanded[i + k] = word[3 - k];
    }
    std::memset(expanded + byteCount, 0, kZeroTail);
    return expanded;
}

INavigationMessage* CreateNavigationAssembler(GnssConstellation constellation) {
    return assemblerFactory(constellation);
}

void SetNavigationAssemblerFactory(NavigationAssemblerFactory factory) {
    assemblerFactory = factory != nullptr ? factory : BuiltInAssembler;
}

int DecodeRxmSfrbx(StationRecord* /*record*/) {
    if (portArray == nullptr) return kDecodeRejected;
    const uint8_t* frame = portArray->frame;
    const int gnssId = frame[kGnssIdAt];
    const int svId = frame[kSvIdAt];
    const int freqId = frame[kFreqIdAt];
    const int numWords = frame[kNumWordsAt];
    const uint8_t* words = frame + kWordsAt;

    switch (gnssId) {
        case kUbxGps:
            KeepGpsIonosphere(words, numWords);
            return RouteKeplerUnit(kGpsRoute, svId, words, numWords);
        case kUbxSbas: Note("RXM-SFRBX: SBAS unsupported constellation"); return kDecodeNothing;
        case kUbxGalileo: return RouteKeplerUnit(kGalileoRoute, svId, words, numWords);
        case kUbxBeiDou: return RouteKeplerUnit(kBeiDouRoute, svId, words, numWords);
        case kUbxImes: Note("RXM-SFRBX: IMES unsupported constellation"); return kDecodeNothing;
        case kUbxQzss:
            if (numWords == kQzssRejectedWordCount) {
                Note("RXM-SFRBX: Cannot decode QZSS subframe. Will only accept ephemeris sent on L1C/A signal");
                return kDecodeNothing;
            }
            return RouteKeplerUnit(kQzssRoute, svId, words, numWords);
        case kUbxGlonass: return RouteGlonassString(svId, freqId, words, numWords);
        default:
            Note("RXM-SFRBX: Unrecognized u-blox constellation enum %d", gnssId);
            return kDecodeNothing;
    }
}

}  // namespace ublox2trv
