// The broadcast ionospheric model read from GPS subframe 4 page 18 as a
// receiver hands it on: the eight Klobuchar coefficients with their signs
// and scale factors; nothing from a page that fails its parity anywhere or
// from any other page.
#include <vector>

#include "NavTestKit.h"
#include "ephemeris/EphemerisStore.h"
#include "navmsg/GpsIonosphereDecoder.h"

using namespace simulation;

TEST(GpsIonosphere, Page18GivesTheKlobucharModelAndNoOtherOrBrokenPageDoes) {
    LnavIonosphereUtc page;
    const double alpha[4] = {1.0244548e-08, 1.4901161e-08, -5.9604645e-08, -1.1920929e-07};
    const double beta[4] = {88064.0, 32768.0, -196608.0, -917504.0};
    for (int n = 0; n < 4; ++n) page.alpha[n] = alpha[n], page.beta[n] = beta[n];
    page.A0 = -2.7939677e-09, page.deltaTls = 18;
    const LnavIonosphereUtc sent = QuantiseIonosphereUtc(page);
    const std::vector<uint32_t> words = ToReceiverSfrbxWords(EncodeIonosphereUtcPage(page, 57600));
    IonosphereModelRecord model{};
    ASSERT_TRUE(DecodeGpsIonosphere(words.data(), model));
    EXPECT_EQ(model.flags, kIonosphereModelValid);
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(model.alpha[n], sent.alpha[n]) << n;
        EXPECT_EQ(model.beta[n], sent.beta[n]) << n;
        EXPECT_NEAR(model.alpha[n], alpha[n], 1e-15) << n;
    }
    // One flipped bit in any word, data or parity, refuses the page and leaves the model alone.
    for (int w = 0; w < kLnavWordCount; ++w) {
        for (uint32_t bit : {1u << 29, 1u << 12, 1u << 6, 1u}) {
            std::vector<uint32_t> broken = words;
            broken[w] ^= bit;
            IonosphereModelRecord untouched{};
            EXPECT_FALSE(DecodeGpsIonosphere(broken.data(), untouched)) << w << "/" << bit;
            EXPECT_EQ(untouched.flags, 0);
        }
    }
    // The receiver's complementing matters: the words as sent on the signal fail where D30 of a word was 1.
    IonosphereModelRecord untouched{};
    EXPECT_FALSE(DecodeGpsIonosphere(ToSfrbxWords(EncodeIonosphereUtcPage(page, 57600)).data(), untouched));
    for (const auto& [subframe, svId] : {std::pair{4, 57}, std::pair{4, 55}, std::pair{5, 56}})
        EXPECT_FALSE(DecodeGpsIonosphere(ToReceiverSfrbxWords(EncodeAlmanacStub(subframe, 57600, svId)).data(),
                                         untouched))
            << subframe << "/" << svId;
}
