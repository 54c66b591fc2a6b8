// RXM-SFRBX routing: which records are refused and with which words, when
// an assembler is made and reset, the GLONASS frame bookkeeping, and the
// whole road of each constellation's words into the store and the .epp file.
#include <gtest/gtest.h>

#include <bitset>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "PortHarness.h"
#include "conversion/HostMessages.h"
#include "conversion/UbxDecoders.h"
#include "../ephemeris/SampleRecords.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"
#include "ephemeris/EphemerisStore.h"
#include "navmsg/INavigationMessage.h"
#include "simulation/BeiDouEncoders.h"
#include "simulation/GalileoEncoders.h"
#include "simulation/GlonassEncoders.h"
#include "simulation/NavEncoders.h"
#include "support/TestPaths.h"

using convtest::PortTest;
using simulation::Bytes;
using ublox2trv::portArray;

namespace {

constexpr uint8_t kUbxGps = 0, kUbxSbas = 1, kUbxGalileo = 2, kUbxBeiDou = 3, kUbxImes = 4, kUbxQzss = 5,
                  kUbxGlonass = 6;

// Words whose first byte, once laid out most significant first, is n.
std::vector<uint32_t> NumberedWords(int n, size_t count = 10, uint32_t fourth = 0) {
    std::vector<uint32_t> words(count, 0);
    if (count > 0) words[0] = static_cast<uint32_t>(n) << 24;
    if (count > 3) words[3] = fourth;
    return words;
}

Bytes Sfrbx(uint8_t gnssId, uint8_t svId, const std::vector<uint32_t>& words, uint8_t freqId = 0) {
    return simulation::MakeRxmSfrbx(gnssId, svId, freqId, words);
}

// Field by field, within what the .epp text keeps (8 significant digits
// for the shortest fields).
void ExpectSameElements(const KeplerElements& a, const KeplerElements& b) {
    EXPECT_EQ(a.week, b.week);
    EXPECT_EQ(a.toe, b.toe);
    EXPECT_EQ(a.toc, b.toc);
    EXPECT_EQ(a.IODC, b.IODC);
    EXPECT_EQ(a.IODE, b.IODE);
    const double pa[] = {a.sqrtA, a.e, a.i0, a.Omega0, a.omega, a.M0, a.deltaN, a.OmegaDot, a.IDOT, a.Cuc,
                         a.Cus, a.Crc, a.Crs, a.Cic, a.Cis, a.af0, a.af1, a.af2, a.TGD};
    const double pb[] = {b.sqrtA, b.e, b.i0, b.Omega0, b.omega, b.M0, b.deltaN, b.OmegaDot, b.IDOT, b.Cuc,
                         b.Cus, b.Crc, b.Crs, b.Cic, b.Cis, b.af0, b.af1, b.af2, b.TGD};
    for (size_t i = 0; i < sizeof pa / sizeof pa[0]; ++i)
        EXPECT_NEAR(pa[i], pb[i], 1e-8 * std::fabs(pb[i]) + 1e-300) << "parameter " << i;
}

// A stand-in assembler for the constellations this build decodes nothing
// of: piece n is the first byte of the words; 0 is refused.
class FakeAssembler : public INavigationMessage {
public:
    explicit FakeAssembler(int count) : count(count) {}
    int GetItemCount() const override { return count; }
    int GetLastStored() const override { return last; }
    void Reset() override {
        held.reset();
        ++resets;
    }
    int Store(const uint8_t* buffer) override {
        const int n = buffer[0];
        if (n == 0) {
            errorText = "Piece 0 is invalid";
            return -1;
        }
        if (n <= count) {
            held.set(n - 1);
            last = n;
        }
        return n;
    }
    bool IsComplete() const override { return static_cast<int>(held.count()) == count; }
    int GetEphemeris(void*) override {
        if (!decodes) errorText = "Bad set";
        return decodes ? 1 : 0;
    }

    int count;
    int last = 0;
    int resets = 0;
    bool decodes = true;
    std::bitset<8> held;
};

std::vector<std::pair<int, FakeAssembler*>>& Created() {
    static std::vector<std::pair<int, FakeAssembler*>> list;
    return list;
}

INavigationMessage* FakeFactory(GnssConstellation constellation) {
    static const int kCounts[5] = {3, 4, 3, 3, 6};
    auto* fake = new FakeAssembler(kCounts[constellation]);
    Created().emplace_back(constellation, fake);
    return fake;
}

class RouterTest : public PortTest {
protected:
    void TearDown() override {
        ublox2trv::SetNavigationAssemblerFactory(nullptr);
        Created().clear();
        PortTest::TearDown();
    }
    CEphemerisStore& Store() { return *portArray->ephemerisStore; }
    static std::vector<std::string> Details() {
        std::vector<std::string> texts;
        for (const auto& m : messages()) {
            EXPECT_EQ(m.level, 3) << m.text;
            EXPECT_EQ(m.time, -1.0) << m.text;
            texts.push_back(m.text);
        }
        return texts;
    }
};

}  // namespace

TEST(ExpandWords, LaysOutEachWordMostSignificantByteFirst) {
    const uint8_t words[] = {0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55};
    const uint8_t* bytes = ublox2trv::ExpandWordsToBytes(words, 8);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 8),
              (std::vector<uint8_t>{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}));
    // A shorter record reads zeros behind its own words, not the last one's.
    bytes = ublox2trv::ExpandWordsToBytes(words, 4);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 8), (std::vector<uint8_t>{0x11, 0x22, 0x33, 0x44, 0, 0, 0, 0}));
}

// ---------------------------------------------------------------------------
// Refusals and their words, with the assemblers of this build

struct RefusalCase {
    const char* name;
    uint8_t gnssId;
    uint8_t svId;
    size_t words;
    const char* text;
    bool assemblerMade;
};

class RouterRefusalTest : public RouterTest, public ::testing::WithParamInterface<RefusalCase> {};

TEST_P(RouterRefusalTest, AnswersWithItsOwnWords) {
    const RefusalCase& c = GetParam();
    EXPECT_EQ(FeedOne(Sfrbx(c.gnssId, c.svId, NumberedWords(1, c.words))), 0);
    EXPECT_EQ(Details(), std::vector<std::string>{c.text});
    bool any = false;
    for (auto& row : portArray->assemblers)
        for (INavigationMessage* a : row) any = any || a != nullptr;
    EXPECT_EQ(any, c.assemblerMade);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RouterRefusalTest,
    ::testing::Values(
        RefusalCase{"Sbas", kUbxSbas, 120, 10, "RXM-SFRBX: SBAS unsupported constellation", false},
        RefusalCase{"Imes", kUbxImes, 1, 10, "RXM-SFRBX: IMES unsupported constellation", false},
        RefusalCase{"UnknownGnss", 7, 1, 10, "RXM-SFRBX: Unrecognized u-blox constellation enum 7", false},
        RefusalCase{"GpsPrn33", kUbxGps, 33, 10, "RXM-SFRBX: Cannot decode GPS subframe. Invalid PRN 33", false},
        // The assembler is made before its first subframe is judged.
        RefusalCase{"GpsBadPreamble", kUbxGps, 5, 10,
                    "RXM-SFRBX: G05 - Failed to store subframe. Invalid preamble from input buffer", true},
        // The word count is tested ahead of the PRN.
        RefusalCase{"QzssEightWordsBadPrn", kUbxQzss, 99, 8,
                    "RXM-SFRBX: Cannot decode QZSS subframe. Will only accept ephemeris sent on L1C/A signal", false},
        RefusalCase{"QzssPrn11", kUbxQzss, 11, 10, "RXM-SFRBX: Cannot decode QZSS subframe. Invalid PRN 11", false},
        RefusalCase{"BeiDouPrn64", kUbxBeiDou, 64, 10, "RXM-SFRBX: Cannot decode BeiDou subframe. Invalid PRN 64",
                    false},
        RefusalCase{"BeiDouGeostationary", kUbxBeiDou, 5, 10,
                    "RXM-SFRBX: Cannot decode BeiDou subframe. Geostationary satellites use unsupported D2 "
                    "navigation message",
                    false},
        RefusalCase{"BeiDouBadPreamble", kUbxBeiDou, 6, 10,
                    "RXM-SFRBX: C06 - Failed to store subframe. Invalid preamble from input buffer", true},
        RefusalCase{"GalileoPrn37", kUbxGalileo, 37, 8, "RXM-SFRBX: Cannot decode Galileo word. Invalid PRN 37",
                    false},
        RefusalCase{"GlonassThreeWords", kUbxGlonass, 3, 3,
                    "RXM-SFRBX: Cannot decode GLONASS string. No superframe/frame information in record", false},
        RefusalCase{"GlonassSlotUnknown", kUbxGlonass, 255, 4,
                    "RXM-SFRBX: Cannot decode GLONASS string. GLONASS PRN numbers not yet known", false},
        RefusalCase{"GlonassPrn25", kUbxGlonass, 25, 4, "RXM-SFRBX: Cannot decode GLONASS string. Invalid PRN 25",
                    false},
        RefusalCase{"GlonassStringZero", kUbxGlonass, 3, 4,
                    "RXM-SFRBX: R03 - Failed to store string. String 0 is invalid", true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(RouterTest, DetailTextsAreNotBuiltUnlessEveryMessageIsAsked) {
    DecoderOptions quiet{2, 0, 0};
    ublox2trv::SetPortOptions(&quiet, sizeof quiet);
    std::snprintf(ublox2trv::errorText, sizeof ublox2trv::errorText, "before");
    EXPECT_EQ(FeedOne(Sfrbx(kUbxSbas, 120, NumberedWords(1))), 0);
    EXPECT_TRUE(messages().empty());
    EXPECT_STREQ(ublox2trv::errorText, "before");
}

// ---------------------------------------------------------------------------
// GPS and QZSS: subframes to store to file and back

TEST_F(RouterTest, GpsSubframesBecomeAStoredEphemerisThatSurvivesTheFile) {
    const KeplerElements sent = simulation::QuantiseLnav(sample::GpsElements());
    simulation::LnavExtras extras;
    extras.towCount = 57600;
    const simulation::LnavSubframeSet set = simulation::EncodeLnav(sent, extras);

    std::vector<int> results;
    for (int round = 0; round < 2; ++round)
        for (const simulation::LnavWords& subframe : set)
            results.push_back(FeedOne(Sfrbx(kUbxGps, 5, simulation::ToSfrbxWords(subframe, 1))));
    // The second round is a repeat: the store keeps one and still says yes.
    EXPECT_EQ(results, (std::vector<int>{0, 0, 2, 0, 0, 2}));
    const std::vector<std::string> round = {
        "RXM-SFRBX: G05 - Stored subframe 1", "RXM-SFRBX: G05 - Stored subframe 2",
        "RXM-SFRBX: G05 - Stored subframe 3", "RXM-SFRBX: G05 - Successfully saved ephemeride"};
    std::vector<std::string> expected = round;
    expected.insert(expected.end(), round.begin(), round.end());
    EXPECT_EQ(Details(), expected);

    const auto& held = Store().GetRecords({kGps, 5});
    ASSERT_EQ(held.size(), 1u);
    const GpsEphemerisRecord& decoded = static_cast<const GNSS::CEphemerisGPS*>(held[0])->Record();
    EXPECT_EQ(decoded.prn, 5);
    ExpectSameElements(decoded.elements, sent);

    ubxtest::TempDir dir;
    EXPECT_EQ(ublox2trv::WriteEphemerisFile(dir.File("road.trv").c_str()), 1);
    CEphemerisStore reloaded;
    ASSERT_TRUE(LoadEphemerisFile(reloaded, dir.File("road.epp").c_str(), true));
    ASSERT_EQ(reloaded.GetRecords({kGps, 5}).size(), 1u);
    const GpsEphemerisRecord& back =
        static_cast<const GNSS::CEphemerisGPS*>(reloaded.GetRecords({kGps, 5})[0])->Record();
    EXPECT_EQ(back.prn, 5);
    ExpectSameElements(back.elements, sent);
}

TEST_F(RouterTest, QzssSubframesBecomeAStoredEphemeris) {
    QzssEphemerisRecord record{};
    record.elements = sample::GpsElements();
    record.elements.sqrtA = 6493.28417206;
    record.elements.e = 0.0750136254448;
    record.elements = simulation::QuantiseLnav(record.elements);
    record.health = 0;
    record.antiSpoof = 1;
    record.fitFlag = 1;
    simulation::LnavExtras extras;
    extras.towCount = 57600;
    extras.uraIndex = 3;
    std::vector<int> results;
    for (const simulation::LnavWords& subframe : simulation::EncodeLnav(record, extras))
        results.push_back(FeedOne(Sfrbx(kUbxQzss, 2, simulation::ToSfrbxWords(subframe))));
    EXPECT_EQ(results, (std::vector<int>{0, 0, 2}));
    ASSERT_EQ(Store().GetRecords({kQzss, 2}).size(), 1u);
    const QzssEphemerisRecord& decoded =
        static_cast<const GNSS::CEphemerisQZSS*>(Store().GetRecords({kQzss, 2})[0])->Record();
    EXPECT_EQ(decoded.prn, 2);
    EXPECT_EQ(decoded.antiSpoof, 1);
    EXPECT_EQ(decoded.fitFlag, 1);
    ExpectSameElements(decoded.elements, record.elements);
}

// ---------------------------------------------------------------------------
// BeiDou, Galileo and GLONASS: words to store to file and back

// The store and a fresh .epp read of it agree on one record of a satellite.
template <class Ephemeris>
const auto& OnlyRecord(const CEphemerisStore& store, const SatelliteId& satellite) {
    const auto& held = store.GetRecords(satellite);
    EXPECT_EQ(held.size(), 1u);
    return static_cast<const Ephemeris*>(held.at(0))->Record();
}

TEST_F(RouterTest, BeiDouSubframesBecomeAStoredEphemerisThatSurvivesTheFile) {
    const BdsEphemerisRecord sent = simulation::QuantiseBdsD1(sample::BeiDouMeo());
    std::vector<int> results;
    for (const simulation::BdsD1Subframe& subframe : simulation::EncodeBdsD1(sent, 345600))
        results.push_back(FeedOne(Sfrbx(kUbxBeiDou, 23, simulation::ToSfrbxWords(subframe))));
    EXPECT_EQ(results, (std::vector<int>{0, 0, 2}));
    EXPECT_EQ(Details().back(), "RXM-SFRBX: C23 - Successfully saved ephemeride");
    EXPECT_EQ(OnlyRecord<GNSS::CEphemerisBDS>(Store(), {kBeiDou, 23}).prn, 23);
    ExpectSameElements(OnlyRecord<GNSS::CEphemerisBDS>(Store(), {kBeiDou, 23}).elements, sent.elements);

    ubxtest::TempDir dir;
    EXPECT_EQ(ublox2trv::WriteEphemerisFile(dir.File("bds.trv").c_str()), 1);
    CEphemerisStore reloaded;
    ASSERT_TRUE(LoadEphemerisFile(reloaded, dir.File("bds.epp").c_str(), true));
    ExpectSameElements(OnlyRecord<GNSS::CEphemerisBDS>(reloaded, {kBeiDou, 23}).elements, sent.elements);
}

TEST_F(RouterTest, GalileoWordsBecomeAStoredEphemerisThatSurvivesTheFile) {
    const GalEphemerisRecord sent = simulation::QuantiseGalINav(sample::Galileo());
    simulation::GalINavExtras extras;
    extras.tow = 345620;
    std::vector<int> results;
    for (const simulation::GalINavWord& word : simulation::EncodeGalINav(sent, extras))
        results.push_back(FeedOne(Sfrbx(kUbxGalileo, 11, simulation::ToGalPagePair(word))));
    EXPECT_EQ(results, (std::vector<int>{0, 0, 0, 0, 0, 2}));
    EXPECT_EQ(Details().back(), "RXM-SFRBX: E11 - Successfully saved ephemeride");
    const GalEphemerisRecord& held = OnlyRecord<GNSS::CEphemerisGAL>(Store(), {kGalileo, 11});
    EXPECT_TRUE(held.iNavValid);
    ExpectSameElements(held.elements, sent.elements);

    ubxtest::TempDir dir;
    EXPECT_EQ(ublox2trv::WriteEphemerisFile(dir.File("gal.trv").c_str()), 1);
    CEphemerisStore reloaded;
    ASSERT_TRUE(LoadEphemerisFile(reloaded, dir.File("gal.epp").c_str(), true));
    ExpectSameElements(OnlyRecord<GNSS::CEphemerisGAL>(reloaded, {kGalileo, 11}).elements, sent.elements);
}

TEST_F(RouterTest, GlonassStringsTakeTheirGpsTimeFromTheGpsEphemerides) {
    // A GPS ephemeris gives GLONASS its week: toe 345600 of week 2300 is
    // Thursday 00:00 GPS, 02:59:42 Moscow time with 18 leap seconds.
    const simulation::LnavSubframeSet gps = simulation::EncodeLnav(simulation::QuantiseLnav(sample::GpsElements()), {});
    for (const simulation::LnavWords& subframe : gps) FeedOne(Sfrbx(kUbxGps, 5, simulation::ToSfrbxWords(subframe)));

    GloEphemerisRecord in = sample::Glonass();
    in.tb = 3 * 3600;
    in.tk = in.tb - 900;
    const GloEphemerisRecord sent = simulation::QuantiseGlonass(in);
    simulation::GlonassExtras extras;
    extras.tauC = -3.0 / (1 << 27);   // on the grid of the time offset field
    extras.NA = 1131;
    const simulation::GlonassFrame frame = simulation::EncodeGlonass(sent, extras);
    std::vector<int> results;
    // String 5 first: its time offset is read although it is no part of
    // the ephemeris, and the set completes with string 4.
    for (int n : {4, 0, 1, 2, 3})
        results.push_back(FeedOne(Sfrbx(kUbxGlonass, 9, simulation::ToGlonassSfrbxWords(frame[n], 12, 3), 5)));
    EXPECT_EQ(results, (std::vector<int>{0, 0, 0, 0, 2}));
    EXPECT_EQ(Details().back(), "RXM-SFRBX: R09 - Successfully saved ephemeride");
    ASSERT_EQ(Store().GlonassOffsets().size(), 1u);
    EXPECT_EQ(Store().GlonassOffsets()[0].dayNumber, 1131);
    EXPECT_EQ(Store().GlonassOffsets()[0].tauC, extras.tauC);

    const GloEphemerisRecord& held = OnlyRecord<GNSS::CEphemerisGLO>(Store(), {kGlonass, 9});
    EXPECT_EQ(held.prn, 9);
    EXPECT_EQ(held.channel, -2);
    EXPECT_EQ(held.tb, sent.tb);
    for (int a = 0; a < 3; ++a) {
        EXPECT_EQ(held.position[a], sent.position[a]);
        EXPECT_EQ(held.velocity[a], sent.velocity[a]);
    }
    GpsTime reference;
    ASSERT_TRUE(Store().GetRecords({kGlonass, 9})[0]->GetReferenceTime(reference));
    EXPECT_EQ(reference.week, 2300);
    EXPECT_NEAR(reference.seconds, 345618.0 + sent.minusTau, 1e-6);

    ubxtest::TempDir dir;
    EXPECT_EQ(ublox2trv::WriteEphemerisFile(dir.File("glo.trv").c_str()), 2);
    CEphemerisStore reloaded;
    ASSERT_TRUE(LoadEphemerisFile(reloaded, dir.File("glo.epp").c_str(), true));
    ASSERT_TRUE(reloaded.GetRecords({kGlonass, 9}).at(0)->GetReferenceTime(reference));
    EXPECT_EQ(reference.week, 2300);
    EXPECT_NEAR(reference.seconds, 345618.0 + sent.minusTau, 1e-6);
}

TEST_F(RouterTest, AlmanacSubframeLogsAStoreFailureWithTheLastWords) {
    // Subframes 4 and 5 are passed over by the assembler, and the router
    // takes any number above the count as a failure; the words are those
    // of the assembler's last refusal, none yet.
    EXPECT_EQ(FeedOne(Sfrbx(kUbxGps, 7, simulation::ToSfrbxWords(simulation::EncodeAlmanacStub(4, 100, 57)))), 0);
    EXPECT_EQ(FeedOne(Sfrbx(kUbxGps, 7, NumberedWords(1))), 0);
    EXPECT_EQ(FeedOne(Sfrbx(kUbxGps, 7, simulation::ToSfrbxWords(simulation::EncodeAlmanacStub(5, 101, 51)))), 0);
    EXPECT_EQ(Details(), (std::vector<std::string>{
                             "RXM-SFRBX: G07 - Failed to store subframe. ",
                             "RXM-SFRBX: G07 - Failed to store subframe. Invalid preamble from input buffer",
                             "RXM-SFRBX: G07 - Failed to store subframe. Invalid preamble from input buffer"}));
}

TEST_F(RouterTest, RxmEphGoesIntoTheStore) {
    const KeplerElements sent = simulation::QuantiseLnav(sample::GpsElements());
    simulation::LnavExtras extras;
    extras.towCount = 57600;
    const simulation::LnavSubframeSet set = simulation::EncodeLnav(sent, extras);
    EXPECT_EQ(FeedOne(simulation::MakeRxmEph(9, simulation::HowData(set), simulation::EphemerisWords(set))), 2);
    ASSERT_EQ(Store().GetRecords({kGps, 9}).size(), 1u);
    ExpectSameElements(static_cast<const GNSS::CEphemerisGPS*>(Store().GetRecords({kGps, 9})[0])->Record().elements,
                       sent);
}

// ---------------------------------------------------------------------------
// The router's own rules, with stand-in assemblers

TEST_F(RouterTest, BeiDouGeostationaryNeverGetsAnAssembler) {
    ublox2trv::SetNavigationAssemblerFactory(FakeFactory);
    for (int i = 0; i < 2; ++i) FeedOne(Sfrbx(kUbxBeiDou, 5, NumberedWords(1)));
    FeedOne(Sfrbx(kUbxBeiDou, 6, NumberedWords(1)));
    ASSERT_EQ(Created().size(), 1u);
    EXPECT_EQ(Created()[0].first, kBeiDou);
    const std::string geo =
        "RXM-SFRBX: Cannot decode BeiDou subframe. Geostationary satellites use unsupported D2 navigation message";
    EXPECT_EQ(Details(), (std::vector<std::string>{geo, geo, "RXM-SFRBX: C06 - Stored subframe 1"}));
}

TEST_F(RouterTest, CompleteSetIsResetWhateverItsDecodingSaid) {
    ublox2trv::SetNavigationAssemblerFactory(FakeFactory);
    FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(1, 8)));
    FakeAssembler& fake = *Created().at(0).second;
    fake.decodes = false;
    for (int word = 2; word <= 6; ++word) EXPECT_EQ(FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(word, 8))), 0);
    EXPECT_EQ(fake.resets, 1);
    EXPECT_FALSE(fake.IsComplete());
    // A set that decodes: the Galileo record names its own satellite (the
    // stand-in leaves it 0), so the store refuses it.
    fake.decodes = true;
    for (int word = 1; word <= 6; ++word) EXPECT_EQ(FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(word, 8))), 0);
    EXPECT_EQ(fake.resets, 2);
    const std::vector<std::string> texts = Details();
    ASSERT_EQ(texts.size(), 14u);
    EXPECT_EQ(texts[0], "RXM-SFRBX: E11 - Stored word 1");
    EXPECT_EQ(texts[6], "RXM-SFRBX: E11 - Failed to decode navigation message. Bad set");
    EXPECT_EQ(texts[13], "RXM-SFRBX: E11 - Could not store ephemeride");
    // Word 0 is refused; the assembler keeps what it has, no reset.
    messages().clear();
    FeedOne(Sfrbx(kUbxGalileo, 11, NumberedWords(0, 8)));
    EXPECT_EQ(Details(), std::vector<std::string>{"RXM-SFRBX: E11 - Failed to store word. Piece 0 is invalid"});
    EXPECT_EQ(fake.resets, 2);
}

namespace {

// GLONASS strings: string n of a superframe and frame, in the fourth word.
Bytes GlonassString(int n, int superframe, int frame) {
    return Sfrbx(kUbxGlonass, 3, NumberedWords(n, 4, static_cast<uint32_t>(superframe) << 16 | frame), 9);
}

}  // namespace

TEST_F(RouterTest, GlonassFrameChangeStartsOverFromTheStringThatShowedIt) {
    ublox2trv::SetNavigationAssemblerFactory(FakeFactory);
    for (int n = 1; n <= 3; ++n) FeedOne(GlonassString(n, 7, 1));
    FakeAssembler& fake = *Created().at(0).second;
    // String 4 of the next frame: the three strings of frame 1 are dropped.
    EXPECT_EQ(FeedOne(GlonassString(4, 7, 2)), 0);
    EXPECT_EQ(fake.resets, 1);
    EXPECT_EQ(fake.held.to_ulong(), 0b1000u);
    // The rest of frame 2 completes the set; no GPS week, so the store
    // cannot take it (its leap second lookup has no valid time to go by),
    // and the tables start afresh.
    for (int n = 1; n <= 2; ++n) EXPECT_EQ(FeedOne(GlonassString(n, 7, 2)), 0);
    EXPECT_EQ(FeedOne(GlonassString(3, 7, 2)), 0);
    EXPECT_EQ(fake.resets, 2);
    EXPECT_EQ(portArray->lastFrame[3], 256);
    EXPECT_EQ(portArray->lastSuperframe[3], 65536);
    const std::vector<std::string> expected = {
        "RXM-SFRBX: R03 - Stored string 1",
        "RXM-SFRBX: R03 - Stored string 2",
        "RXM-SFRBX: R03 - Stored string 3",
        "RXM-SFRBX: R03 - New navigation frame detected. Resetting GLONASS ephemeris decoding",
        "RXM-SFRBX: R03 - Stored string 4",
        "RXM-SFRBX: R03 - Stored string 1",
        "RXM-SFRBX: R03 - Stored string 2",
        "RXM-SFRBX: R03 - Stored string 3",
        "Input GPS time not valid, UTC offset has not been altered",
        "RXM-SFRBX: R03 - Could not store ephemeride"};
    EXPECT_EQ(Details(), expected);
}

TEST_F(RouterTest, GlonassRefusedStringDoesNotStartAFrame) {
    ublox2trv::SetNavigationAssemblerFactory(FakeFactory);
    FeedOne(GlonassString(1, 7, 1));
    FakeAssembler& fake = *Created().at(0).second;
    // Refused after its new superframe has reset the set: its numbers are
    // not kept, so the next string of frame 1 does not count as a change.
    FeedOne(GlonassString(0, 8, 5));
    EXPECT_EQ(portArray->lastSuperframe[3], 65536);
    EXPECT_EQ(portArray->lastFrame[3], 256);
    FeedOne(GlonassString(2, 7, 1));
    // String 5 and beyond are not ephemeris strings: no "Stored" line, no reset.
    FeedOne(GlonassString(5, 7, 1));
    FeedOne(GlonassString(6, 7, 1));
    EXPECT_EQ(fake.resets, 1);
    EXPECT_EQ(fake.held.to_ulong(), 0b0010u);
    FeedOne(GlonassString(1, 9, 1));   // another superframe
    const std::vector<std::string> expected = {
        "RXM-SFRBX: R03 - Stored string 1",
        "RXM-SFRBX: R03 - New navigation superframe detected. Resetting GLONASS ephemeris decoding",
        "RXM-SFRBX: R03 - Failed to store string. Piece 0 is invalid",
        "RXM-SFRBX: R03 - Stored string 2",
        "RXM-SFRBX: R03 - New navigation superframe detected. Resetting GLONASS ephemeris decoding",
        "RXM-SFRBX: R03 - Stored string 1"};
    EXPECT_EQ(Details(), expected);
}
