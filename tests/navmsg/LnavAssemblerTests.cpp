// The GPS and QZSS subframe assemblers: what they keep, what they refuse and
// what they decode, in both input layouts.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "LnavTestData.h"

using namespace navtest;
using simulation::EncodeLnav;
using simulation::LnavExtras;
using simulation::LnavSubframeSet;
using simulation::LnavWords;

namespace {

struct LayoutCase {
    int layout;
    uint32_t spareBits;
};

class LnavLayoutTest : public ::testing::TestWithParam<LayoutCase> {
protected:
    int Store(INavigationMessage& m, const LnavWords& sf) {
        return m.Store(Input(sf, GetParam().layout, GetParam().spareBits).data());
    }
    void StoreSet(INavigationMessage& m, const LnavSubframeSet& set) {
        for (int n = 1; n <= 3; ++n) ASSERT_EQ(Store(m, set[n - 1]), n);
    }
};

INSTANTIATE_TEST_SUITE_P(Layouts, LnavLayoutTest,
                         ::testing::Values(LayoutCase{0, 0}, LayoutCase{1, 0}, LayoutCase{1, 3}, LayoutCase{1, 2}),
                         [](const auto& info) {
                             return "layout" + std::to_string(info.param.layout) + "spare" +
                                    std::to_string(info.param.spareBits);
                         });

TEST_P(LnavLayoutTest, GpsRoundTripGivesTheQuantisedRecord) {
    const std::vector<KeplerElements> records = {SampleElements(0), SampleElements(1), ExtremeElements(1),
                                                 ExtremeElements(-1)};
    for (const KeplerElements& k : records) {
        SCOPED_TRACE(k.IODC);
        CGpsNavigationMessage m(GetParam().layout);
        StoreSet(m, EncodeLnav(k, LnavExtras{}));
        EXPECT_EQ(m.GetLastStored(), 3);
        ASSERT_TRUE(m.IsComplete());
        GpsEphemerisRecord r;
        std::memset(&r, 0xA5, sizeof r);
        ASSERT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
        ExpectSameElements(r.elements, Expected(k));
        EXPECT_EQ(r.prn, 0);  // the router's to fill
    }
}

TEST_P(LnavLayoutTest, QzssRoundTripAddsHealthFlagsMeanMotionAndAccuracy) {
    QzssEphemerisRecord in{};
    in.elements = SampleElements(0);
    in.elements.sqrtA = 6493.3;
    in.health = 0x15;  // lower bits only: still usable
    in.antiSpoof = 1;
    in.fitFlag = 1;
    LnavExtras x;
    x.uraIndex = 3;
    CQzssNavigationMessage m(GetParam().layout);
    StoreSet(m, EncodeLnav(in, x));
    QzssEphemerisRecord r{};
    ASSERT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
    ExpectSameElements(r.elements, Expected(in.elements));
    EXPECT_EQ(r.health, 0x15u);
    EXPECT_EQ(r.antiSpoof, 1);
    EXPECT_EQ(r.fitFlag, 1);
    EXPECT_EQ(r.ura, 4.0);
    const double a = r.elements.sqrtA * r.elements.sqrtA;
    EXPECT_DOUBLE_EQ(r.meanMotion, std::sqrt(398600500000000.0 / (a * a * a)) + r.elements.deltaN);
}

TEST_P(LnavLayoutTest, AlmanacSubframesArePassedOver) {
    CGpsNavigationMessage m(GetParam().layout);
    EXPECT_EQ(Store(m, EncodeLnav(SampleElements(), {})[0]), 1);
    EXPECT_EQ(Store(m, simulation::EncodeAlmanacStub(4, 10, 57)), 4);
    EXPECT_EQ(Store(m, simulation::EncodeAlmanacStub(5, 11, 3)), 5);
    EXPECT_EQ(m.GetLastStored(), 1);
    EXPECT_EQ(m.ErrorText(), "");
    EXPECT_FALSE(m.IsComplete());
}

struct StoreCase {
    const char* name;
    // Subframes stored in turn: 10 + n is subframe n of issue 0, 20 + n of
    // issue 1; other entries are the special subframes below.
    std::vector<int> steps;
    int code;  // result of the last step
    const char* text;
};

constexpr int kBadPreamble = 90;
constexpr int kId0 = 91, kId6 = 96, kId7 = 97;

const StoreCase kStoreCases[] = {
    {"SecondFirst", {12}, -3, "Must store subframe 1 before storing subframe 2"},
    {"ThirdFirst", {13}, -3, "Must store subframe 1 before storing subframe 3"},
    {"ThirdWithoutSecond", {11, 13}, -3, "Must store subframe 2 before storing subframe 3"},
    {"SecondOfNewIssue", {11, 22}, -4, "IODE of input subframe 2 does not match IODC from stored subframe 1"},
    // Slot 1 is judged before anyone looks at slot 2, which is empty.
    {"ThirdOfNewIssueBeforeSecond", {11, 23}, -4,
     "IODE of input subframe 3 does not match IODC from stored subframe 1"},
    {"ThirdAfterNewFirst", {11, 12, 13, 21, 23}, -4,
     "IODE of input subframe 3 does not match IODE from stored subframe 2"},
    {"BadPreamble", {kBadPreamble}, -1, "Invalid preamble from input buffer"},
    {"SubframeId0", {kId0}, -2, "Subframe 0 is invalid"},
    {"SubframeId6", {kId6}, -2, "Subframe 6 is invalid"},
    {"SubframeId7", {11, 12, kId7}, -2, "Subframe 7 is invalid"},
};

class LnavStoreTest : public ::testing::TestWithParam<std::tuple<StoreCase, int>> {};

INSTANTIATE_TEST_SUITE_P(Refusals, LnavStoreTest,
                         ::testing::Combine(::testing::ValuesIn(kStoreCases), ::testing::Values(0, 1)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "Layout" +
                                    std::to_string(std::get<1>(info.param));
                         });

LnavWords Step(int step) {
    const LnavSubframeSet a = EncodeLnav(SampleElements(0), {});
    const LnavSubframeSet b = EncodeLnav(SampleElements(1), {});
    switch (step) {
        case kBadPreamble: return WithPreamble(a[0], 0x8A);
        case kId0: return WithSubframeId(a[0], 0);
        case kId6: return WithSubframeId(a[1], 6);
        case kId7: return WithSubframeId(a[2], 7);
        default: return (step / 10 == 1 ? a : b)[step % 10 - 1];
    }
}

TEST_P(LnavStoreTest, RefusesWithCodeAndWordsAndKeepsItsSlots) {
    const auto& [c, layout] = GetParam();
    CGpsNavigationMessage m(layout);
    int lastGood = 0;
    for (size_t i = 0; i + 1 < c.steps.size(); ++i) {
        lastGood = m.Store(Input(Step(c.steps[i]), layout).data());
        ASSERT_GT(lastGood, 0) << "step " << i << ": " << m.ErrorText();
    }
    const bool wasComplete = m.IsComplete();
    EXPECT_EQ(m.Store(Input(Step(c.steps.back()), layout).data()), c.code);
    EXPECT_EQ(m.ErrorText(), c.text);
    // The refusal changed nothing that was stored.
    EXPECT_EQ(m.GetLastStored(), lastGood);
    EXPECT_EQ(m.IsComplete(), wasComplete);
    // A success afterwards leaves the words standing.
    ASSERT_EQ(m.Store(Input(Step(11), layout).data()), 1);
    EXPECT_EQ(m.ErrorText(), c.text);
}

struct DecodeCase {
    const char* name;
    LnavExtras extras;
    const char* text;
};

LnavExtras With(uint8_t alertMask, int ura = 0, int health = 0) {
    LnavExtras x;
    x.alertMask = alertMask;
    x.uraIndex = ura;
    x.health = health;
    return x;
}

TEST(LnavDecode, RefusesPoorDataOnlyAtDecoding) {
    const DecodeCase cases[] = {
        {"alert1", With(1), "Subframe 1 Alert Flag indicates poor satellite data"},
        {"alert2", With(2), "Subframe 2 Alert Flag indicates poor satellite data"},
        {"alert3", With(4), "Subframe 3 Alert Flag indicates poor satellite data"},
        {"alertAll", With(7), "Subframe 1 Alert Flag indicates poor satellite data"},
        {"ura15", With(0, 15), "Subframe 1 URA Index indicates poor satellite data"},
        {"health", With(0, 0, 0x20), "Subframe 1 Satellite Health indicates poor satellite data"},
        {"uraBeforeHealth", With(0, 15, 0x3F), "Subframe 1 URA Index indicates poor satellite data"},
        {"ura14", With(0, 14), nullptr},
        {"lowHealthBits", With(0, 0, 0x1F), nullptr},
    };
    for (const DecodeCase& c : cases) {
        SCOPED_TRACE(c.name);
        for (int qzss = 0; qzss < 2; ++qzss) {
            CGpsNavigationMessage gps(1);
            CQzssNavigationMessage qzs(1);
            INavigationMessage& m = qzss ? static_cast<INavigationMessage&>(qzs) : gps;
            const LnavSubframeSet set = EncodeLnav(SampleElements(), c.extras);
            for (int n = 1; n <= 3; ++n) ASSERT_EQ(m.Store(Input(set[n - 1], 1).data()), n);
            QzssEphemerisRecord r;
            std::memset(&r, 0xA5, sizeof r);
            if (c.text == nullptr) {
                EXPECT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
                continue;
            }
            EXPECT_EQ(m.GetEphemeris(&r), 0);
            EXPECT_EQ(m.ErrorText(), c.text);
            // The record is cleared, up to its own size.
            const size_t size = qzss ? sizeof(QzssEphemerisRecord) : sizeof(GpsEphemerisRecord);
            const auto* bytes = reinterpret_cast<const uint8_t*>(&r);
            EXPECT_EQ(std::count(bytes, bytes + size, 0), static_cast<long>(size));
            EXPECT_TRUE(m.IsComplete());  // decoding never empties the slots
        }
    }
}

// A change of issue: the new subframe 1 leaves the old 2 and 3 in place,
// and decoding refuses the mix until the new set is whole.
TEST(LnavDecode, ChangeOfIssueNeverYieldsAMixedRecord) {
    const LnavSubframeSet a = EncodeLnav(SampleElements(0), {});
    const LnavSubframeSet b = EncodeLnav(SampleElements(1), {});
    CGpsNavigationMessage m(0);
    for (int n = 1; n <= 3; ++n) ASSERT_EQ(m.Store(simulation::ToLayout0(a[n - 1]).data()), n);
    GpsEphemerisRecord r{};
    ASSERT_EQ(m.GetEphemeris(&r), 1);

    ASSERT_EQ(m.Store(simulation::ToLayout0(b[0]).data()), 1);
    EXPECT_TRUE(m.IsComplete());
    EXPECT_EQ(m.GetEphemeris(&r), 0);
    EXPECT_EQ(m.ErrorText(), "Subframe 2 IODE does not match subframe1 IODC");

    ASSERT_EQ(m.Store(simulation::ToLayout0(b[1]).data()), 2);
    EXPECT_EQ(m.GetEphemeris(&r), 0);
    EXPECT_EQ(m.ErrorText(), "Subframe 3 IODE is not equal to Subframe 2 IODE");

    ASSERT_EQ(m.Store(simulation::ToLayout0(b[2]).data()), 3);
    ASSERT_EQ(m.GetEphemeris(&r), 1);
    ExpectSameElements(r.elements, Expected(SampleElements(1)));

    // Asked again, the same record; a repeat of a subframe just overwrites.
    GpsEphemerisRecord again{};
    ASSERT_EQ(m.Store(simulation::ToLayout0(b[1]).data()), 2);
    ASSERT_EQ(m.GetEphemeris(&again), 1);
    EXPECT_EQ(std::memcmp(&r, &again, sizeof r), 0);
}

TEST(LnavDecode, MissingSubframesAndReset) {
    const LnavSubframeSet a = EncodeLnav(SampleElements(0), {});
    CQzssNavigationMessage m(0);
    QzssEphemerisRecord r{};
    for (int n = 1; n <= 3; ++n) {
        EXPECT_EQ(m.GetEphemeris(&r), 0);
        EXPECT_EQ(m.ErrorText(), "Subframe " + std::to_string(n) + " has not been loaded");
        ASSERT_EQ(m.Store(simulation::ToLayout0(a[n - 1]).data()), n);
    }
    EXPECT_EQ(m.GetEphemeris(&r), 1);

    m.Reset();
    EXPECT_FALSE(m.IsComplete());
    EXPECT_EQ(m.Store(simulation::ToLayout0(a[1]).data()), -3);
    EXPECT_EQ(m.GetEphemeris(&r), 0);
    EXPECT_EQ(m.ErrorText(), "Subframe 1 has not been loaded");
}

TEST(LnavDecode, QzssAccuracyInMetresByIndex) {
    const double metres[15] = {2, 2, 4, 4, 8, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096};
    for (int index = 0; index < 15; ++index) {
        QzssEphemerisRecord in{};
        in.elements = SampleElements();
        LnavExtras x;
        x.uraIndex = index;
        const LnavSubframeSet set = EncodeLnav(in, x);
        CQzssNavigationMessage m(0);
        for (int n = 1; n <= 3; ++n) ASSERT_EQ(m.Store(simulation::ToLayout0(set[n - 1]).data()), n);
        QzssEphemerisRecord r{};
        ASSERT_EQ(m.GetEphemeris(&r), 1);
        EXPECT_EQ(r.ura, metres[index]) << "index " << index;
    }
}

}  // namespace

TEST(LnavDecode, QzssRefusesASubframeSetWithoutAnOrbit) {
    KeplerElements elements = SampleElements();
    elements.sqrtA = 0.0;
    const LnavSubframeSet set = EncodeLnav(elements, {});
    CQzssNavigationMessage m(0);
    for (int n = 1; n <= 3; ++n) ASSERT_EQ(m.Store(simulation::ToLayout0(set[n - 1]).data()), n);
    QzssEphemerisRecord r{};
    EXPECT_EQ(m.GetEphemeris(&r), 0) << "its mean motion would be infinite";
    EXPECT_EQ(m.ErrorText(), "Subframe 2 square root of semi-major axis is zero");
    EXPECT_EQ(r.meanMotion, 0.0);
}
