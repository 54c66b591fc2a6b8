// The navigation-word encoders behind the synthetic logs and these tests
// rebuild the pieces of a real receiver log bit for bit from their data
// alone: the parity of IS-GPS-200, the BCH(15,11) code of BeiDou, the tails
// and CRC-24Q of Galileo page pairs and the Hamming code of GLONASS strings.
#include <array>
#include <map>
#include <vector>

#include "NavTestKit.h"
#include "simulation/BeiDouEncoders.h"
#include "simulation/GalileoEncoders.h"
#include "simulation/GlonassEncoders.h"

using namespace navtest;
using namespace simulation;

namespace {

// The piece rebuilt by the encoders, as RXM-SFRBX words; empty for the
// pieces they do not model.
std::vector<uint32_t> Rebuilt(const SfrbxRecord& r) {
    auto field = [&](int offset, int count) { return ReadBits(r.bytes.data(), static_cast<uint64_t>(offset), count); };
    if (r.gnssId == 0 && r.sigId == 0 && r.words.size() == 10) {
        // L1 C/A. The receiver hands on each word as sent but complemented
        // whole after a word whose D30 is 1, so that its data read in their
        // true sense; the encoder solves the last two data bits of words 2
        // and 10 and adds the parity.
        std::array<uint32_t, kLnavWordsPerSubframe> data{};
        for (int w = 0; w < 10; ++w) data[w] = (r.words[w] & 0x3FFFFFFFu) >> 6;
        return ToReceiverSfrbxWords(FinishLnavSubframe(data));
    }
    if (r.gnssId == 3 && r.words.size() == 10) {  // B1I: the information bits, parity added field by field
        BdsD1Subframe sf{};
        for (int w = 0; w < 10; ++w) sf[w] = r.words[w] & (w == 0 ? 0x3FFFFFF0u : 0x3FFFFF00u);
        SetBdsD1Field(sf, 0, 11, GetBdsD1Field(sf, 0, 11));
        return {sf.begin(), sf.end()};
    }
    // E1-B nominal pages; the top of the reserved field is not modelled.
    if (r.gnssId == 2 && r.sigId == 1 && r.words.size() >= 8 && field(1, 1) == 0 && field(129, 1) == 0 &&
        field(146, 8) == 0) {
        GalINavWord w{};
        for (int i = 0; i < 16; ++i) w[i] = static_cast<uint8_t>(field(i < 14 ? 2 + 8 * i : 130 + 8 * (i - 14), 8));
        std::vector<uint32_t> words = ToGalPagePair(w, {field(154, 32), field(186, 22), static_cast<uint8_t>(field(208, 2)),
                                                       static_cast<uint8_t>(field(234, 8)), 0, false});
        return words;
    }
    if (r.gnssId == 6 && r.svId != 255 && r.words.size() == 4) {  // GLONASS: the check bits of the 77 data bits
        GlonassString s{};
        std::copy_n(r.bytes.begin(), s.size(), s.begin());
        PutGlonassBits(s, 77, 8, 0);
        SetGlonassHamming(s);
        std::vector<uint32_t> words = ToGlonassSfrbxWords(s, 0, 0);
        words.resize(3);  // the string; the fourth word numbers the frame
        return words;
    }
    return {};
}

TEST(Encoders, RebuildRealPiecesBitForBit) {
    SKIP_WITHOUT_SHARED_LOGS();
    std::map<int, int> pieces, alike;  // by constellation
    for (const SfrbxRecord& r : ReadSfrbx("f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx")) {
        const std::vector<uint32_t> rebuilt = Rebuilt(r);
        if (rebuilt.empty()) continue;
        ++pieces[r.gnssId];
        std::vector<uint32_t> handedOn(r.words.begin(), r.words.begin() + static_cast<long>(rebuilt.size()));
        for (uint32_t& w : handedOn) w &= r.gnssId == 0 || r.gnssId == 3 ? 0x3FFFFFFFu : 0xFFFFFFFFu;  // spare bits
        alike[r.gnssId] += rebuilt == handedOn;
    }
    EXPECT_EQ(alike, (std::map<int, int>{{0, pieces[0] - 1}, {2, pieces[2]}, {3, pieces[3]}, {6, pieces[6]}}))
        << "one GPS HOW of the log fails its own parity";
    for (const auto& [gnssId, count] : pieces) EXPECT_GT(count, 100) << "constellation " << gnssId;
}

}  // namespace
