// What every assembler promises alike. Piece 1 opens a set and each later
// piece needs all the ones before it, bound to them by their IOD (GPS,
// QZSS, Galileo), by time (BeiDou) or by order alone (GLONASS). A refusal
// answers a negative code and words and changes nothing stored; almanac
// pieces are answered with their number and kept nowhere. Decoding names the
// first missing piece and leaves the slots as they were; Reset empties them.
#include <memory>
#include <string>
#include <vector>

#include "NavTestKit.h"
#include "navmsg/BeiDouD1NavigationMessage.h"
#include "navmsg/GalileoINavNavigationMessage.h"
#include "navmsg/GlonassNavigationMessage.h"
#include "navmsg/GpsNavigationMessage.h"
#include "navmsg/QzssNavigationMessage.h"
#include "simulation/BeiDouEncoders.h"
#include "simulation/GalileoEncoders.h"
#include "simulation/GlonassEncoders.h"

using namespace navtest;
using namespace simulation;

namespace {

enum Sys { kGps, kQzss, kBds, kGal, kGlo };

const struct {
    const char* name;
    const char* item;
    int count;      // pieces in a set
    int orderCode;  // the answer to a piece whose predecessors are missing
    size_t recordSize;
    int layouts;
} kKinds[] = {{"Gps", "Subframe", 3, -3, sizeof(GpsEphemerisRecord), 2},
              {"Qzss", "Subframe", 3, -3, sizeof(QzssEphemerisRecord), 2},
              {"Bds", "Subframe", 3, -3, sizeof(BdsEphemerisRecord), 2},
              {"Gal", "Word", 6, -2, sizeof(GalEphemerisRecord), 2},
              {"Glo", "String", 4, -3, sizeof(GloEphemerisRecord), 1}};

std::unique_ptr<INavigationMessage> Make(Sys s, int layout) {
    switch (s) {
        case kGps: return std::make_unique<CGpsNavigationMessage>(layout);
        case kQzss: return std::make_unique<CQzssNavigationMessage>(layout);
        case kBds: return std::make_unique<CBeiDouD1NavigationMessage>(layout);
        case kGal: return std::make_unique<CGalileoINavE1bNavigationMessage>(layout);
        default: return std::make_unique<CGlonassNavigationMessage>();
    }
}

// An LNAV subframe with new bits in the data of one word, parity made good.
LnavWords Rebuilt(const LnavWords& sf, int word, uint32_t clearMask, uint32_t setBits) {
    std::array<uint32_t, kLnavWordsPerSubframe> data{};
    for (int w = 0; w < kLnavWordsPerSubframe; ++w) data[w] = sf[w] >> 6;
    data[word] = (data[word] & ~clearMask) | setBits;
    return FinishLnavSubframe(data);
}

// The input of a piece in a layout. Codes: 10 + n is piece n of data set 0,
// 20 + n of data set 1 (BeiDou: of the frame 30 s later), 30 + n of a BeiDou
// frame across the end of the week; 100 + i is piece 1 numbered i, and 90
// piece 1 numbered 0 with a broken preamble or idle chip.
Bytes Piece(Sys s, int code, int layout) {
    const int dataSet = code / 10 == 2 ? 1 : 0;
    const size_t n = code < 90 ? static_cast<size_t>(code % 10 - 1) : 0;
    const uint32_t id = code >= 100 ? static_cast<uint32_t>(code - 100) : 0;
    if (s == kGps || s == kQzss) {
        LnavWords sf = EncodeLnav(SampleKepler(dataSet), {})[n];
        if (code >= 90) sf = Rebuilt(sf, 1, 7u << 2, id << 2);  // the subframe ID in the HOW
        if (code == 90) sf = Rebuilt(sf, 0, 0xFFu << 16, 0x8Au << 16);
        return layout == 0 ? ToLayout0(sf) : ToLayout1(sf, 3);
    }
    if (s == kBds) {
        const uint32_t sow = ((code / 10 == 3 ? 604788 : 30 * dataSet) + 6 * static_cast<uint32_t>(n)) % 604800;
        BdsD1Subframe sf = EncodeBdsD1(BdsSample(dataSet), 0)[n];
        SetBdsD1Field(sf, 18, 8, sow >> 12);
        SetBdsD1Field(sf, 30, 12, sow & 0xFFF);
        if (code >= 90) SetBdsD1Field(sf, 15, 3, id);
        if (code == 90) SetBdsD1Field(sf, 0, 11, 0x713);
        return layout == 0 ? ToLayout0(sf) : ToLayout1(sf, 3);
    }
    if (s == kGal) {
        const GalINavWord w =
            code >= 100 ? EncodeGalINavStub(static_cast<int>(id)) : EncodeGalINav(GalSample(dataSet))[n];
        // Reserved, SAR and padding bits set, so that a copy that strays out of the data shows.
        return layout == 0 ? ToGalLayout0(w) : ToGalLayout1(w, {0xDEADBEEF, 0x2AAAAA, 3, 0x5C, 0xFF, false});
    }
    GlonassString str = EncodeGlonass(GloSample(dataSet), GlonassExtras{})[n];
    if (code >= 90) PutGlonassBits(str, 1, 4, id);
    if (code == 90) PutGlonassBits(str, 0, 1, 1);
    return ToGlonassBytes(str);
}

struct StoreCase {
    Sys sys;
    const char* name;
    std::vector<int> steps;  // pieces stored in turn
    int code;                // the answer to the last
    const char* text;
};

class StoreRules : public ::testing::TestWithParam<StoreCase> {};

TEST_P(StoreRules, AnswerWithCodeAndWordsAndKeepTheSlotsOnRefusal) {
    const StoreCase& c = GetParam();
    const auto& k = kKinds[c.sys];
    for (int layout = 0; layout < k.layouts; ++layout) {
        SCOPED_TRACE(layout);
        const auto m = Make(c.sys, layout);
        int lastGood = 0;
        for (size_t i = 0; i + 1 < c.steps.size(); ++i) {
            const int n = m->Store(Piece(c.sys, c.steps[i], layout).data());
            ASSERT_GT(n, 0) << "step " << i << ": " << m->ErrorText();
            lastGood = n <= k.count ? n : lastGood;
        }
        const bool wasComplete = m->IsComplete();
        EXPECT_EQ(m->Store(Piece(c.sys, c.steps.back(), layout).data()), c.code);
        EXPECT_EQ(m->ErrorText(), c.text);
        const bool kept = c.code >= 1 && c.code <= k.count;
        EXPECT_EQ(m->GetLastStored(), kept ? c.code : lastGood);
        EXPECT_TRUE(kept || m->IsComplete() == wasComplete);
        ASSERT_EQ(m->Store(Piece(c.sys, 11, layout).data()), 1);
        EXPECT_EQ(m->ErrorText(), c.text);  // a success leaves the words standing
    }
}

const StoreCase kStoreCases[] = {
    {kGps, "SecondFirst", {12}, -3, "Must store subframe 1 before storing subframe 2"},
    {kGps, "ThirdWithoutSecond", {11, 13}, -3, "Must store subframe 2 before storing subframe 3"},
    // Slot 1 is judged before anyone looks at slot 2, which is empty.
    {kGps, "ThirdBeforeSecond", {11, 23}, -4, "IODE of input subframe 3 does not match IODC from stored subframe 1"},
    {kGps, "ThirdAfterNewFirst", {11, 12, 13, 21, 23}, -4,
     "IODE of input subframe 3 does not match IODE from stored subframe 2"},
    {kGps, "PreambleBeforeId", {90}, -1, "Invalid preamble from input buffer"},
    {kGps, "Id0", {100}, -2, "Subframe 0 is invalid"},
    {kGps, "Id6", {11, 12, 106}, -2, "Subframe 6 is invalid"},
    {kGps, "AlmanacPages", {11, 104, 105}, 5, ""},
    {kBds, "SecondFirst", {12}, -3, "Must store subframe 1 before storing subframe 2"},
    {kBds, "ThirdWithoutSecond", {11, 13}, -3, "Must store subframe 2 before storing subframe 3"},
    {kBds, "SecondTooLate", {11, 22}, -4, "Subframe 1 must come 6 seconds before subframe 2"},
    {kBds, "SecondTooEarly", {21, 12}, -4, "Subframe 1 must come 6 seconds before subframe 2"},
    {kBds, "ThirdOfNextFrame", {11, 12, 23}, -4, "Subframe 1 must come 12 seconds before subframe 3"},
    {kBds, "ThirdAfterNewFirst", {11, 12, 21, 23}, -4, "Subframe 2 must come 6 seconds before subframe 3"},
    // No wrap at the end of the week: such a frame is refused.
    {kBds, "AcrossWeekEnd", {31, 32, 33}, -4, "Subframe 1 must come 12 seconds before subframe 3"},
    {kBds, "PreambleBeforeId", {90}, -1, "Invalid preamble from input buffer"},
    {kBds, "FraId0", {100}, -2, "Subframe 0 is invalid"},
    {kBds, "FraId6", {11, 12, 106}, -2, "Subframe 6 is invalid"},
    // Subframe 2 is still judged against subframe 1 alone.
    {kBds, "AlmanacPages", {11, 104, 105, 12}, 2, ""},
    {kGal, "SecondFirst", {12}, -2, "Must store word 1 before storing word 2"},
    {kGal, "FourthWithoutThird", {11, 12, 14}, -2, "Must store word 3 before storing word 4"},
    {kGal, "SixthWithoutFifth", {11, 12, 13, 14, 16}, -2, "Must store word 5 before storing word 6"},
    {kGal, "ThirdBeforeSecond", {11, 23}, -3, "IOD of input word 3 does not match IOD from stored word 1"},
    {kGal, "FourthOfOldIod", {11, 12, 13, 21, 22, 14}, -3, "IOD of input word 4 does not match IOD from stored word 1"},
    {kGal, "FourthOfNewIod", {11, 12, 13, 21, 22, 24}, -3, "IOD of input word 4 does not match IOD from stored word 3"},
    {kGal, "Type0", {100}, -1, "Word 0 is invalid"},
    {kGal, "Type11", {11, 111}, -1, "Word 11 is invalid"},
    {kGal, "AlmanacWords", {11, 107, 110}, 10, ""},
    // Words 5 and 6 carry no IOD: nothing to compare.
    {kGal, "FiveAndSixOfAnotherIod", {11, 12, 13, 14, 25, 26}, 6, ""},
    {kGlo, "IdleChipBeforeNumber", {90}, -1, "Idle bit is not zero"},
    {kGlo, "Number0", {11, 12, 100}, -2, "String 0 is invalid"},
    {kGlo, "TwoFirst", {12}, -3, "Must store string 1 before storing string 2"},
    {kGlo, "FourWithoutThree", {11, 12, 14}, -3, "Must store string 3 before storing string 4"},
    {kGlo, "Strings5To15", {11, 105, 115}, 15, ""}};

INSTANTIATE_TEST_SUITE_P(Cases, StoreRules, ::testing::ValuesIn(kStoreCases),
                         [](const auto& info) { return std::string(kKinds[info.param.sys].name) + info.param.name; });

class EverySystem : public ::testing::TestWithParam<Sys> {};

INSTANTIATE_TEST_SUITE_P(Systems, EverySystem, ::testing::Values(kGps, kQzss, kBds, kGal, kGlo),
                         [](const auto& info) { return std::string(kKinds[info.param].name); });

TEST_P(EverySystem, NamesTheFirstMissingPieceAndResetEmptiesEverySlot) {
    const Sys s = GetParam();
    const auto& k = kKinds[s];
    const auto m = Make(s, 0);
    alignas(8) uint8_t a[512], b[512];
    for (int n = 1; n <= k.count; ++n) {
        EXPECT_FALSE(m->IsComplete());
        EXPECT_EQ(m->GetEphemeris(a), 0);
        EXPECT_EQ(m->ErrorText(), std::string(k.item) + " " + std::to_string(n) + " has not been loaded");
        ASSERT_EQ(m->Store(Piece(s, 10 + n, 0).data()), n);
    }
    EXPECT_EQ(m->GetLastStored(), k.count);
    EXPECT_EQ(m->GetEphemeris(nullptr), 0);
    ASSERT_EQ(m->GetEphemeris(a), 1) << m->ErrorText();
    ASSERT_EQ(m->GetEphemeris(b), 1);
    EXPECT_EQ(std::memcmp(a, b, k.recordSize), 0);
    m->Reset();
    EXPECT_FALSE(m->IsComplete());
    EXPECT_EQ(m->Store(Piece(s, 12, 0).data()), k.orderCode);
    EXPECT_EQ(m->GetEphemeris(a), 0);
    EXPECT_EQ(m->ErrorText(), std::string(k.item) + " 1 has not been loaded");
}

// Piece by piece, a new set overwrites a whole old one. Only GPS and QZSS
// check IODs at decoding and refuse the mix; the others decode it.
TEST_P(EverySystem, ANewSetReplacesTheOldOnePieceByPiece) {
    const Sys s = GetParam();
    const auto& k = kKinds[s];
    const char* mixed[] = {"Subframe 2 IODE does not match subframe1 IODC",
                           "Subframe 3 IODE is not equal to Subframe 2 IODE"};
    const auto m = Make(s, 0), fresh = Make(s, 0);
    alignas(8) uint8_t a[512], b[512];
    for (int n = 1; n <= k.count; ++n) {
        ASSERT_EQ(m->Store(Piece(s, 10 + n, 0).data()), n);
        ASSERT_EQ(fresh->Store(Piece(s, 20 + n, 0).data()), n);
    }
    ASSERT_EQ(fresh->GetEphemeris(b), 1);
    ASSERT_EQ(m->GetEphemeris(a), 1);
    EXPECT_NE(std::memcmp(a, b, k.recordSize), 0);
    for (int n = 1; n < k.count; ++n) {
        ASSERT_EQ(m->Store(Piece(s, 20 + n, 0).data()), n) << m->ErrorText();
        EXPECT_EQ(m->GetEphemeris(a), s > kQzss ? 1 : 0);
        EXPECT_EQ(m->ErrorText(), s > kQzss ? "" : mixed[n - 1]);
    }
    ASSERT_EQ(m->Store(Piece(s, 20 + k.count, 0).data()), k.count);
    ASSERT_EQ(m->GetEphemeris(a), 1) << m->ErrorText();
    EXPECT_EQ(std::memcmp(a, b, k.recordSize), 0);
}

TEST(Accuracy, UraIndexGivesMetresForQzssAndBeiDou) {
    const double metres[15] = {2, 2, 4, 4, 8, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096};
    for (int index = 0; index < 15; ++index) {
        SCOPED_TRACE(index);
        QzssEphemerisRecord q{};
        q.elements = SampleKepler();
        LnavExtras x;
        x.uraIndex = index;
        CQzssNavigationMessage qzss(0);
        EXPECT_EQ(Decoded<QzssEphemerisRecord>(qzss, Inputs(EncodeLnav(q, x), 0)).ura, metres[index]);
        BdsEphemerisRecord b = BdsSample();
        b.urai = index;
        CBeiDouD1NavigationMessage bds(0);
        b = Decoded<BdsEphemerisRecord>(bds, Inputs(EncodeBdsD1(b, 0), 0));
        EXPECT_EQ(std::make_pair(b.urai, b.ura), std::make_pair(index, metres[index]));
    }
}

}  // namespace
