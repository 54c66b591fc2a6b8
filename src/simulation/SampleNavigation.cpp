#include "simulation/SampleNavigation.h"

#include <cmath>
#include <vector>

#include "simulation/BeiDouEncoders.h"
#include "simulation/GalileoEncoders.h"
#include "simulation/GlonassEncoders.h"

namespace simulation {

namespace {

constexpr double kWeek = 604800.0;
constexpr double kDay = 86400.0;
constexpr double kFrame = 30.0;             // a GPS frame, a D1 frame, a GLONASS frame
constexpr double kSubframe = 6.0;
constexpr double kKeplerToeStep = 7200.0;
constexpr double kMoscowAheadOfGps = 10800.0 - 18.0;
constexpr int kFirstBeiDouD1Prn = 6;
// Subframe 4 turns through its 25 pages, one a frame, from the start of
// the week; page 18 carries the ionosphere and UTC.
constexpr int kPagesPerCycle = 25;
constexpr int kIonosphereUtcPage = 18;
constexpr int kGpsUtcTot = 147456;          // s of week, a multiple of 4096
constexpr int kLastLeapWeek = 1929;         // 1 January 2017
constexpr int kLastLeapDay = 7;

struct WeekTime {
    int weeks;     // whole weeks after the session's first
    double tow;
};
WeekTime Split(double t) {
    const double weeks = std::floor(t / kWeek);
    return {static_cast<int>(weeks), t - weeks * kWeek};
}

uint8_t SvId(int index) { return static_cast<uint8_t>(index + 1); }

void AddGpsFrame(UbxLog& log, const CSampleSky& sky, const Constellation& c, int index, double t) {
    const double toe = CSampleSky::KeplerToe(c, t);
    KeplerElements k = sky.Kepler(c, index, toe);
    k.IODC = k.IODE = static_cast<int>(toe / kKeplerToeStep) % 256;
    const WeekTime now = Split(t);
    LnavExtras extras;
    extras.towCount = static_cast<uint32_t>(now.tow / kSubframe) + 1;
    for (const LnavWords& subframe : EncodeLnav(k, extras))
        log.Add(MakeRxmSfrbx(kUbxGps, SvId(index), 0, ToReceiverSfrbxWords(subframe)));
    if (static_cast<int>(now.tow / kFrame) % kPagesPerCycle != kIonosphereUtcPage - 1) return;
    LnavIonosphereUtc page = BroadcastIonosphereUtc();
    page.WNt = sky.Week() + now.weeks;
    const LnavWords subframe4 = EncodeIonosphereUtcPage(page, extras.towCount + 3);
    log.Add(MakeRxmSfrbx(kUbxGps, SvId(index), 0, ToReceiverSfrbxWords(subframe4)));
}

void AddGalileoWords(UbxLog& log, const CSampleSky& sky, const Constellation& c, int index, double t) {
    const double toe = CSampleSky::KeplerToe(c, t);
    GalEphemerisRecord r{};
    r.elements = sky.Kepler(c, index, toe);
    r.elements.IODC = r.elements.IODE = static_cast<int>(toe / kKeplerToeStep) % 1024;
    r.prn = static_cast<int16_t>(index + 1);
    r.iNavValid = true;
    r.iNavToc = r.elements.toc;
    r.iNavAf0 = r.elements.af0;
    r.iNavAf1 = r.elements.af1;
    r.sisa = 107;
    GalINavExtras extras;
    extras.tow = static_cast<uint32_t>(Split(t).tow);
    // Word 0 dates the words; a decoder that wants words 0 to 5 together
    // has them from the second frame on.
    std::vector<GalINavWord> words;
    for (const GalINavWord& word : EncodeGalINav(r, extras)) words.push_back(word);
    words.push_back(EncodeGalINavWord0(static_cast<uint32_t>(r.elements.week), extras.tow));
    for (const GalINavWord& word : words) {
        std::vector<uint32_t> sfrbx = ToGalPagePair(word);
        sfrbx.push_back(0);   // receivers of E1-B add a ninth, reserved word
        log.Add(MakeRxmSfrbx(kUbxGalileo, SvId(index), 0, sfrbx));
    }
}

void AddBeiDouFrame(UbxLog& log, const CSampleSky& sky, const Constellation& c, int index, double t) {
    if (index + 1 < kFirstBeiDouD1Prn) return;   // geostationary numbers: D2, which the converter leaves
    const double toe = CSampleSky::KeplerToe(c, t);
    BdsEphemerisRecord r{};
    r.elements = sky.Kepler(c, index, toe);
    r.elements.IODC = r.elements.IODE = static_cast<int>(toe / kKeplerToeStep) % 32;
    const auto sow = static_cast<uint32_t>(Split(t - c.lag).tow);
    for (const BdsD1Subframe& subframe : EncodeBdsD1(r, sow))
        log.Add(MakeRxmSfrbx(kUbxBeiDou, SvId(index), 0, ToSfrbxWords(subframe)));
}

void AddGlonassFrame(UbxLog& log, const CSampleSky& sky, int index, double t) {
    GloEphemerisRecord r = sky.Glonass(index, CSampleSky::GlonassTb(t));
    const double moscow = t + kMoscowAheadOfGps;
    r.tk = static_cast<int32_t>(std::floor((moscow - std::floor(moscow / kDay) * kDay) / kFrame) * kFrame);
    GlonassExtras extras;
    extras.NA = 1;
    const auto frameCount = static_cast<uint32_t>(Split(t).tow / kFrame);
    const auto superframe = static_cast<uint16_t>(frameCount / 5);
    const auto frame = static_cast<uint8_t>(frameCount % 5 + 1);
    const auto freqId = static_cast<uint8_t>(GlonassChannel(index) + 7);
    for (const GlonassString& string : EncodeGlonass(r, extras))
        log.Add(MakeRxmSfrbx(kUbxGlonass, SvId(index), freqId, ToGlonassSfrbxWords(string, superframe, frame)));
}

}  // namespace

const LnavIonosphereUtc& BroadcastIonosphereUtc() {
    static const LnavIonosphereUtc page = [] {
        LnavIonosphereUtc p;
        const double alpha[4] = {1.1176e-08, 7.4506e-09, -5.9605e-08, -5.9605e-08};
        const double beta[4] = {90112.0, 0.0, -196608.0, -65536.0};
        for (int n = 0; n < 4; ++n) p.alpha[n] = alpha[n], p.beta[n] = beta[n];
        p.A0 = 2.7939677238e-09;
        p.A1 = 1.0658141036e-14;
        p.tot = kGpsUtcTot;
        p.deltaTls = p.deltaTlsf = 18;
        p.WNlsf = kLastLeapWeek;
        p.DN = kLastLeapDay;
        return QuantiseIonosphereUtc(p);
    }();
    return page;
}

void AddNavigationFrame(UbxLog& log, const CSampleSky& sky, const Constellation& c, int index, double t) {
    switch (c.gnssId) {
        case kUbxGps: AddGpsFrame(log, sky, c, index, t); break;
        case kUbxGalileo: AddGalileoWords(log, sky, c, index, t); break;
        case kUbxBeiDou: AddBeiDouFrame(log, sky, c, index, t); break;
        case kUbxGlonass: AddGlonassFrame(log, sky, index, t); break;
        default: break;
    }
}

}  // namespace simulation
