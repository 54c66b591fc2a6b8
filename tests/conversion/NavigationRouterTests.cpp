// RXM-SFRBX routing: which records are refused and with which words, when an assembler is made and reset, the
// GLONASS frame bookkeeping, and the road of the words into the store and the .epp file (of GPS and GLONASS here; the
// real logs show the others).
#include <bitset>

#include "Harness.h"
#include "conversion/HostMessages.h"
#include "conversion/UbxDecoders.h"
#include "ephemeris/EphemerisStore.h"
#include "navmsg/INavigationMessage.h"
#include "simulation/GlonassEncoders.h"
#include "simulation/NavEncoders.h"
#include "support/TestPaths.h"

using convtest::Elements;
using convtest::ExpectSameElements;
using convtest::Lines;
using convtest::PortTest;
using namespace simulation;
using ublox2trv::portArray;

namespace {

constexpr uint8_t kUbxGps = 0, kUbxSbas = 1, kUbxGalileo = 2, kUbxBeiDou = 3, kUbxImes = 4, kUbxQzss = 5,
                  kUbxGlonass = 6;

// Words whose first byte, once laid out most significant first, is n.
std::vector<uint32_t> NumberedWords(int n, size_t count = 10, uint32_t fourth = 0) {
    std::vector<uint32_t> words(count, 0);
    words[0] = static_cast<uint32_t>(n) << 24;
    if (count > 3) words[3] = fourth;
    return words;
}

Bytes Sfrbx(uint8_t gnssId, uint8_t svId, const std::vector<uint32_t>& words, uint8_t freqId = 0) {
    return MakeRxmSfrbx(gnssId, svId, freqId, words);
}

// GLONASS string n of a superframe and frame, the numbers in the fourth word.
Bytes GlonassRecord(int n, int superframe, int frame) {
    return Sfrbx(kUbxGlonass, 3, NumberedWords(n, 4, static_cast<uint32_t>(superframe) << 16 | frame), 9);
}

// A stand-in assembler for the router's own rules: piece n is the first byte of the words; 0 is refused.
class FakeAssembler : public INavigationMessage {
public:
    explicit FakeAssembler(int count) : count(count) {}
    int GetItemCount() const override { return count; }
    int GetLastStored() const override { return last; }
    void Reset() override { held.reset(), ++resets; }
    int Store(const uint8_t* buffer) override {
        const int n = buffer[0];
        if (n == 0) return errorText = "Piece 0 is invalid", -1;
        if (n <= count) held.set(n - 1), last = n;
        return n;
    }
    bool IsComplete() const override { return static_cast<int>(held.count()) == count; }
    int GetEphemeris(void*) override { return decodes ? 1 : (errorText = "Bad set", 0); }
    int count, last = 0, resets = 0;
    bool decodes = true;
    std::bitset<8> held;
};

std::vector<FakeAssembler*> created;

INavigationMessage* FakeFactory(GnssConstellation constellation) {
    static const int kCounts[5] = {3, 4, 3, 3, 6};
    return created.emplace_back(new FakeAssembler(kCounts[constellation]));
}

class RouterTest : public PortTest {
protected:
    void TearDown() override {
        ublox2trv::SetNavigationAssemblerFactory(nullptr);
        created.clear();
        PortTest::TearDown();
    }
    CEphemerisStore& Store() { return *portArray->ephemerisStore; }
    // Every router message is a detail without a time.
    static Lines Details() {
        for (const auto& m : messages()) EXPECT_TRUE(m.level == 3 && m.time == -1.0) << m.text;
        return Texts();
    }
};

}  // namespace

TEST_F(RouterTest, RefusalsAnswerWithTheirOwnWordsWhenEveryMessageIsAsked) {
    const struct {
        uint8_t gnssId, svId;
        size_t words;
        const char* text;
        bool assemblerMade;
    } cases[] = {
        {kUbxSbas, 120, 10, "SBAS unsupported constellation", false},
        {kUbxImes, 1, 10, "IMES unsupported constellation", false},
        {7, 1, 10, "Unrecognized u-blox constellation enum 7", false},
        {kUbxGps, 33, 10, "Cannot decode GPS subframe. Invalid PRN 33", false},
        // The assembler is made before its first subframe is judged.
        {kUbxGps, 5, 10, "G05 - Failed to store subframe. Invalid preamble from input buffer", true},
        // The word count is tested ahead of the PRN.
        {kUbxQzss, 99, 8, "Cannot decode QZSS subframe. Will only accept ephemeris sent on L1C/A signal", false},
        {kUbxBeiDou, 5, 10, "Cannot decode BeiDou subframe. Geostationary satellites use unsupported D2 navigation "
                            "message", false},
        {kUbxBeiDou, 6, 10, "C06 - Failed to store subframe. Invalid preamble from input buffer", true},
        {kUbxGalileo, 37, 8, "Cannot decode Galileo word. Invalid PRN 37", false},
        {kUbxGlonass, 3, 3, "Cannot decode GLONASS string. No superframe/frame information in record", false},
        {kUbxGlonass, 255, 4, "Cannot decode GLONASS string. GLONASS PRN numbers not yet known", false},
        {kUbxGlonass, 25, 4, "Cannot decode GLONASS string. Invalid PRN 25", false},
        {kUbxGlonass, 3, 4, "R03 - Failed to store string. String 0 is invalid", true}};
    for (const auto& c : cases) {
        Reopen();
        EXPECT_EQ(FeedOne(Sfrbx(c.gnssId, c.svId, NumberedWords(1, c.words))), 0);
        EXPECT_EQ(Details(), Lines{std::string("RXM-SFRBX: ") + c.text});
        bool made = false;
        for (auto& row : portArray->assemblers)
            for (INavigationMessage* a : row) made = made || a != nullptr;
        EXPECT_EQ(made, c.assemblerMade) << c.text;
    }
    // The detail texts are not even built unless every message is asked.
    messages().clear();
    DecoderOptions quiet{2, 0, 0};
    ublox2trv::SetPortOptions(&quiet, sizeof quiet);
    std::snprintf(ublox2trv::errorText, sizeof ublox2trv::errorText, "before");
    EXPECT_EQ(FeedOne(Sfrbx(kUbxSbas, 120, NumberedWords(1))), 0);
    EXPECT_TRUE(messages().empty());
    EXPECT_STREQ(ublox2trv::errorText, "before");
}

TEST_F(RouterTest, GpsAndGlonassUnitsBecomeStoredEphemeridesOfTheirSatellites) {
    // GPS, twice and with the spare bits set: the store keeps one and still says yes.
    const KeplerElements gps = QuantiseLnav(Elements(2300, 345600));
    const LnavExtras lnav{.towCount = 57600};
    std::vector<int> results;
    for (int round = 0; round < 2; ++round)
        for (const LnavWords& subframe : EncodeLnav(gps, lnav))
            results.push_back(FeedOne(Sfrbx(kUbxGps, 5, ToSfrbxWords(subframe, 1))));
    // GLONASS takes its week from the GPS ephemerides: toe 345600 of week 2300 is Thursday 00:00 GPS, 02:59:42
    // Moscow time with 18 leap seconds. String 5 comes first: its time offset is read although it is no part of the
    // ephemeris, and the set completes with string 4.
    GloEphemerisRecord glonass{};
    glonass.tb = 3 * 3600, glonass.tk = glonass.tb - 900, glonass.minusTau = -4.1779130697e-05f;
    glonass.position[0] = 7003.00878906, glonass.position[1] = -12206.6269531, glonass.position[2] = 21280.765625;
    glonass.velocity[0] = 0.783541679382, glonass.velocity[1] = 2.80425262451, glonass.velocity[2] = 1.35251522064;
    glonass = QuantiseGlonass(glonass);
    const GlonassExtras extras{.NA = 1131, .tauC = -3.0 / (1 << 27)};  // tau-c on the grid of its field
    const GlonassFrame frame = EncodeGlonass(glonass, extras);
    for (int n : {4, 0, 1, 2, 3})
        results.push_back(FeedOne(Sfrbx(kUbxGlonass, 9, ToGlonassSfrbxWords(frame[n], 12, 3), 5)));
    EXPECT_EQ(results, (std::vector<int>{0, 0, 2, 0, 0, 2, 0, 0, 0, 0, 2}));
    const Lines round = {"RXM-SFRBX: G05 - Stored subframe 1", "RXM-SFRBX: G05 - Stored subframe 2",
                         "RXM-SFRBX: G05 - Stored subframe 3", "RXM-SFRBX: G05 - Successfully saved ephemeride"};
    Lines expected = round;
    expected.insert(expected.end(), round.begin(), round.end());
    for (int n = 1; n <= 4; ++n) expected.push_back("RXM-SFRBX: R09 - Stored string " + std::to_string(n));
    expected.push_back("RXM-SFRBX: R09 - Successfully saved ephemeride");
    EXPECT_EQ(Details(), expected);
    ASSERT_EQ(Store().GlonassOffsets().size(), 1u);
    EXPECT_EQ(std::tie(Store().GlonassOffsets()[0].dayNumber, Store().GlonassOffsets()[0].tauC),
              std::make_tuple(1131, extras.tauC));
    GpsEphemerisRecord g{};
    GloEphemerisRecord r{};
    ASSERT_TRUE(Store().GetRecords({kGps, 5}).size() == 1 && Store().GetRecords({kGlonass, 9}).size() == 1);
    Store().GetRecords({kGps, 5})[0]->GetRecord(&g);
    Store().GetRecords({kGlonass, 9})[0]->GetRecord(&r);
    EXPECT_EQ(g.prn, 5);
    ExpectSameElements(g.elements, gps, 0.0);
    EXPECT_EQ(std::tie(r.prn, r.channel, r.tb), std::make_tuple(9, -2, glonass.tb));
    for (int a = 0; a < 3; ++a) EXPECT_EQ(r.position[a], glonass.position[a]) << a;
    GpsTime reference;
    ASSERT_TRUE(Store().GetRecords({kGlonass, 9})[0]->GetReferenceTime(reference));
    EXPECT_EQ(reference.week, 2300);
    EXPECT_NEAR(reference.seconds, 345618.0 + glonass.minusTau, 1e-6);
    ubxtest::TempDir dir;
    EXPECT_EQ(ublox2trv::WriteEphemerisFile(dir.File("road.trv").c_str()), 2);
}

TEST_F(RouterTest, CompleteSetIsResetWhateverItsDecodingSaid) {
    ublox2trv::SetNavigationAssemblerFactory(FakeFactory);
    FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(1, 8)));
    FakeAssembler& fake = *created.at(0);
    fake.decodes = false;
    for (int word = 2; word <= 6; ++word) EXPECT_EQ(FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(word, 8))), 0);
    FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(0, 8)));  // refused: the assembler keeps what it has, no reset
    EXPECT_EQ(fake.resets, 1);
    const Lines texts = Details();
    EXPECT_EQ(Lines(texts.begin() + 4, texts.end()),
              (Lines{"RXM-SFRBX: E11 - Stored word 5", "RXM-SFRBX: E11 - Stored word 6",
                     "RXM-SFRBX: E11 - Failed to decode navigation message. Bad set",
                     "RXM-SFRBX: E11 - Failed to store word. Piece 0 is invalid"}));
}

TEST_F(RouterTest, GlonassFrameOrSuperframeChangeStartsOverFromTheStringThatShowedIt) {
    // Frame 1 loses its strings to string 4 of frame 2. The rest of frame 2 completes the set; without a GPS week the
    // store cannot take it (its leap second lookup has no valid time to go by), and the tables start afresh. A new
    // superframe drops what came before it too.
    ublox2trv::SetNavigationAssemblerFactory(FakeFactory);
    for (auto [n, frame] : {std::pair{1, 1}, {2, 1}, {3, 1}, {4, 2}, {1, 2}, {2, 2}, {3, 2}})
        EXPECT_EQ(FeedOne(GlonassRecord(n, 7, frame)), 0);
    FakeAssembler& fake = *created.at(0);
    EXPECT_EQ(fake.resets, 2);
    EXPECT_EQ(std::tie(portArray->lastFrame[3], portArray->lastSuperframe[3]), std::make_tuple(256, 65536));
    FeedOne(GlonassRecord(1, 7, 1));
    FeedOne(GlonassRecord(2, 8, 1));
    EXPECT_EQ(fake.resets, 3);
    EXPECT_EQ(fake.held.to_ulong(), 0b0010u);
    auto stored = [](int n) { return "RXM-SFRBX: R03 - Stored string " + std::to_string(n); };
    EXPECT_EQ(Details(), (Lines{stored(1), stored(2), stored(3),
                                "RXM-SFRBX: R03 - New navigation frame detected. Resetting GLONASS ephemeris decoding",
                                stored(4), stored(1), stored(2), stored(3),
                                "Input GPS time not valid, UTC offset has not been altered",
                                "RXM-SFRBX: R03 - Could not store ephemeride", stored(1),
                                "RXM-SFRBX: R03 - New navigation superframe detected. Resetting GLONASS ephemeris "
                                "decoding",
                                stored(2)}));
}

TEST_F(RouterTest, Page18GivesTheStoreTheFirstGoodIonosphereAndTheMessagesOfAnyPage) {
    LnavIonosphereUtc first, second;
    first.alpha[0] = std::ldexp(12.0, -30), first.beta[0] = 90112.0;  // on the grids of their fields
    second.alpha[0] = 2.0 * first.alpha[0];
    std::vector<uint32_t> broken = ToReceiverSfrbxWords(EncodeIonosphereUtcPage(first, 100));
    broken[5] ^= 1u << 15;
    FeedOne(Sfrbx(kUbxGps, 5, ToReceiverSfrbxWords(EncodeAlmanacStub(4, 100, 57))));
    const Lines otherPage = Details();
    // The assembler passes subframes 4 and 5 over, and the router reports that as it always has.
    EXPECT_EQ(otherPage, Lines{"RXM-SFRBX: G05 - Failed to store subframe. "});
    for (const std::vector<uint32_t>& words : {broken, ToReceiverSfrbxWords(EncodeIonosphereUtcPage(first, 100)),
                                               ToReceiverSfrbxWords(EncodeIonosphereUtcPage(second, 100))}) {
        const bool before = Store().Ionosphere().flags == kIonosphereModelValid;
        messages().clear();
        EXPECT_EQ(FeedOne(Sfrbx(kUbxGps, 5, words)), 0);
        EXPECT_EQ(Details(), otherPage);
        EXPECT_EQ(Store().Ionosphere().flags == kIonosphereModelValid, before || words != broken);
    }
    EXPECT_EQ(Store().Ionosphere().alpha[0], first.alpha[0]);
    EXPECT_EQ(Store().Ionosphere().beta[0], first.beta[0]);
}
