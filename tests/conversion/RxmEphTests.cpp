// RXM-EPH, the receiver's own GPS ephemeris: the packing of its words, the
// decoding of the packed bytes and what the record decoder offers the store
// and says.
#include <cmath>
#include <cstring>

#include "../navmsg/LnavTestData.h"
#include "PortHarness.h"
#include "conversion/RxmEphDecoder.h"
#include "ephemeris/EphemerisStore.h"
#include "simulation/NavEncoders.h"
#include "timebase/GpsTime.h"

using namespace simulation;
using convtest::PortTest;

namespace {

KeplerElements Sample(int week = 2300) {
    KeplerElements k = navtest::SampleElements();
    k.week = week;
    return k;
}

LnavExtras Extras(int health = 0) {
    LnavExtras x;
    x.towCount = 57601;
    x.health = health;
    return x;
}

Bytes Frame(uint32_t svid, const KeplerElements& k, int health = 0) {
    const LnavSubframeSet set = EncodeLnav(k, Extras(health));
    return MakeRxmEph(svid, HowData(set), EphemerisWords(set));
}

// The record's decimal scale factors differ from the powers of two in the
// last digits, by up to a few parts in 1e12.
void ExpectNear(const KeplerElements& got, const KeplerElements& want) { navtest::ExpectSameElements(got, want, 1e-11); }

int DecodeBytesOf(const KeplerElements& k, int health, GpsEphemerisRecord& record, int prn) {
    const EphemerisWordArray words = EphemerisWords(EncodeLnav(k, Extras(health)));
    uint8_t bytes[ublox2trv::kEphemerisByteCount];
    ublox2trv::PackEphemerisWords(words.data(), bytes);
    record = GpsEphemerisRecord{};
    return ublox2trv::DecodeGpsEphemerisBytes(bytes, record, prn);
}

TEST(RxmEphBytes, DecodesTheSubframeWordsOfAnyRecord) {
    KeplerElements flipped = Sample();
    for (auto field : navtest::kDoubleFields)
        if (field != &KeplerElements::sqrtA && field != &KeplerElements::e) flipped.*field = -(flipped.*field);
    for (const KeplerElements& k : {Sample(), flipped}) {
        GpsEphemerisRecord r;
        ASSERT_EQ(DecodeBytesOf(k, 0, r, 7), 0);
        KeplerElements want = QuantiseLnav(k);
        want.week = ResolveWeekByClock(k.week % 1024);
        ExpectNear(r.elements, want);
        EXPECT_EQ(r.prn, 7);
    }
}

TEST(RxmEphBytes, HealthAndPrnResults) {
    struct Case {
        int health;
        int prn;
        int result;
    };
    const Case cases[] = {{0, 1, 0}, {0, 32, 0}, {0x2A, 5, 0x2A}, {0x3F, 5, 0x3F}, {1, 5, 1}, {0, 0, -1},
                          {0, 33, -1}, {0x3F, 33, -1}, {0, -4, -1}};
    for (const Case& c : cases) {
        GpsEphemerisRecord r;
        EXPECT_EQ(DecodeBytesOf(Sample(), c.health, r, c.prn), c.result) << c.health << "/" << c.prn;
        EXPECT_EQ(r.elements.toe, 345600);  // filled even when the PRN is bad
        // IODC takes the whole byte of health and IODC bits.
        EXPECT_EQ(r.elements.IODC, (c.health << 10) + 0x1A5);
    }
}

// The scale factors are the decimal forms that earlier output was written
// with, two of them in a shorter form beside a longer one.
TEST(RxmEphBytes, ScaleFactorsAreTheSettledDecimals) {
    uint8_t bytes[ublox2trv::kEphemerisByteCount] = {};
    auto put = [&](int byte, int count, uint32_t value) {
        for (int i = 0; i < count; ++i) bytes[byte + i] = static_cast<uint8_t>(value >> (8 * (count - 1 - i)));
    };
    put(35, 4, 3);                // e
    put(56, 4, 3);                // i0
    put(29, 4, 3);                // M0
    put(48, 2, 3);                // Cic
    put(33, 2, 3);                // Cuc
    put(21, 3, 3u << 2);          // af0, top 22 of 24 bits
    put(14, 1, 3);                // TGD
    put(70, 2, 0xFFFCu);          // IDOT -1
    GpsEphemerisRecord r{};
    ublox2trv::DecodeGpsEphemerisBytes(bytes, r, 1);
    const double pi = 3.141592653589793;
    EXPECT_EQ(r.elements.e, 3 * 1.16415321826935e-10);
    EXPECT_EQ(r.elements.i0, 3 * 4.65661287308e-10 * pi);
    EXPECT_EQ(r.elements.M0, 3 * 4.65661287307739e-10 * pi);
    EXPECT_EQ(r.elements.Cic, 3 * 1.86264514923e-9);
    EXPECT_EQ(r.elements.Cuc, 3 * 1.86264514923096e-9);
    EXPECT_EQ(r.elements.af0, 3 * 4.65661287308e-10);
    EXPECT_EQ(r.elements.TGD, 3 * 4.65661287307739e-10);
    EXPECT_EQ(r.elements.IDOT, -1 * 1.13686837721616e-13 * pi);
}

class RxmEphTest : public PortTest {
protected:
    // The one GPS record the store holds for a PRN, or false.
    bool Stored(int prn, GpsEphemerisRecord& record) {
        const auto& list = ublox2trv::portArray->ephemerisStore->GetRecords(SatelliteId(kGps, prn));
        if (list.size() != 1) return false;
        return list[0]->GetRecord(&record);
    }
    void ExpectOneMessage(const std::string& text, double time) {
        ASSERT_EQ(messages().size(), 1u) << (messages().empty() ? "" : messages().front().text);
        EXPECT_EQ(messages()[0].text, text);
        EXPECT_EQ(messages()[0].level, 3);
        EXPECT_EQ(messages()[0].time, time);
        messages().clear();
    }
};

TEST_F(RxmEphTest, HealthyRecordIsStoredAndRepeatsAreAccepted) {
    ASSERT_EQ(FeedOne(Frame(5, Sample())), 2);
    ExpectOneMessage("GPS Ephemeris received for PRN 5", 345600.0);
    GpsEphemerisRecord r{};
    ASSERT_TRUE(Stored(5, r));
    KeplerElements want = QuantiseLnav(Sample());
    want.week = ResolveWeekByClock(2300 % 1024);
    ExpectNear(r.elements, want);
    EXPECT_EQ(r.prn, 5);

    ASSERT_EQ(FeedOne(Frame(5, Sample())), 2);
    ExpectOneMessage("GPS Ephemeris received for PRN 5", 345600.0);
    EXPECT_TRUE(Stored(5, r));
}

TEST_F(RxmEphTest, WeekFollowsTheMeasurementsOnceSeen) {
    ublox2trv::portArray->gpsWeek = 1500;
    ASSERT_EQ(FeedOne(Frame(9, Sample(1503))), 2);
    GpsEphemerisRecord r{};
    ASSERT_TRUE(Stored(9, r));
    EXPECT_EQ(r.elements.week, 1503);

    ublox2trv::portArray->gpsWeek = 0;
    ASSERT_EQ(FeedOne(Frame(10, Sample(1503))), 2);
    ASSERT_TRUE(Stored(10, r));
    EXPECT_EQ(r.elements.week, ResolveWeekByClock(1503 % 1024));
}

TEST_F(RxmEphTest, RefusedRecordsSayWhy) {
    struct Case {
        Bytes frame;
        const char* text;
    };
    KeplerElements flat = Sample();
    flat.sqrtA = 0.0;  // the store refuses an orbit of no size
    const Case cases[] = {
        {Frame(33, Sample()), "GPS Ephemeris received with invalid PRN number (33)"},
        {Frame(0, Sample()), "GPS Ephemeris received with invalid PRN number (0)"},
        {Frame(0xFFFFFFFFu, Sample()), "GPS Ephemeris received with invalid PRN number (4294967295)"},
        {Frame(6, Sample(), 1), "GPS Ephemeris received for PRN 6 with BAD HEALTH"},
        {Frame(6, Sample(), 0x20), "GPS Ephemeris received for PRN 6 with BAD HEALTH"},
        {Frame(6, flat), "GPS Ephemeris rejected for PRN 6"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(FeedOne(c.frame), 0);
        ExpectOneMessage(c.text, 345600.0);
    }
    EXPECT_FALSE(ublox2trv::portArray->ephemerisStore->HasRecords(SatelliteId(kGps, 6)));
}

TEST_F(RxmEphTest, NoEphemerisIsSilent) {
    const LnavSubframeSet set = EncodeLnav(Sample(), Extras());
    EXPECT_EQ(FeedOne(MakeRxmEph(5, 0)), 0);
    EXPECT_EQ(FeedOne(MakeRxmEph(5, 0, EphemerisWords(set))), 0);
    EXPECT_EQ(FeedOne(MakeRxmEph(40, 0, EphemerisWords(set))), 0);
    EXPECT_TRUE(messages().empty());
    // A short record with a HOW holds no words: whatever it yields, nothing
    // is stored.
    EXPECT_EQ(FeedOne(MakeRxmEph(5, 1)), 0);
    EXPECT_FALSE(ublox2trv::portArray->ephemerisStore->HasRecords(SatelliteId(kGps, 5)));
}

}  // namespace
