#pragma once
// Ephemerides and subframe variants shared by the LNAV assembler tests.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iterator>

#include "navmsg/GpsNavigationMessage.h"
#include "navmsg/QzssNavigationMessage.h"
#include "simulation/NavEncoders.h"
#include "timebase/GpsTime.h"

namespace navtest {

// A plausible GPS ephemeris; issue selects one of two issues of data.
inline KeplerElements SampleElements(int issue = 0) {
    KeplerElements k{};
    k.week = 2300;
    k.toe = issue == 0 ? 345600 : 352800;
    k.sqrtA = 5153.651;
    k.e = 0.01234;
    k.i0 = 0.9634;
    k.Omega0 = -2.1031;
    k.omega = 0.7712;
    k.M0 = 1.2345;
    k.deltaN = 4.5e-9;
    k.OmegaDot = -8.1e-9;
    k.IDOT = 2.1e-10;
    k.Cuc = -1.2e-6;
    k.Cus = 7.5e-6;
    k.Crc = 250.3;
    k.Crs = -20.1;
    k.Cic = 1.1e-7;
    k.Cis = -5.2e-8;
    k.toc = k.toe;
    k.af0 = 1.2e-4;
    k.af1 = -3.4e-12;
    k.af2 = 0.0;
    k.TGD = -1.1e-8;
    k.IODC = issue == 0 ? 0x1A5 : 0x0C3;
    k.IODE = k.IODC & 0xFF;
    return k;
}

// Every field at the top (sign +1) or the bottom (sign -1) of its range,
// so that a wrong width or sign extension shows.
inline KeplerElements ExtremeElements(int sign) {
    const double big = sign * 1e12;
    KeplerElements k{};
    k.week = 2047;
    k.toe = sign > 0 ? 604784 : 0;
    k.toc = k.toe;
    k.sqrtA = sign > 0 ? big : 0.0;
    k.e = sign > 0 ? big : 0.0;
    k.i0 = k.Omega0 = k.omega = k.M0 = big;
    k.deltaN = k.OmegaDot = k.IDOT = big;
    k.Cuc = k.Cus = k.Crc = k.Crs = k.Cic = k.Cis = big;
    k.af0 = k.af1 = k.af2 = k.TGD = big;
    k.IODC = sign > 0 ? 0x3FF : 0x300;
    k.IODE = k.IODC & 0xFF;
    return simulation::QuantiseLnav(k);
}

// What the assembler yields: the quantised block with the broadcast week
// made full by the clock.
inline KeplerElements Expected(const KeplerElements& k) {
    KeplerElements q = simulation::QuantiseLnav(k);
    q.week = ResolveWeekByClock(k.week % 1024);
    return q;
}

inline constexpr double KeplerElements::*kDoubleFields[] = {
    &KeplerElements::sqrtA,  &KeplerElements::e,   &KeplerElements::i0,       &KeplerElements::Omega0,
    &KeplerElements::omega,  &KeplerElements::M0,  &KeplerElements::deltaN,   &KeplerElements::OmegaDot,
    &KeplerElements::IDOT,   &KeplerElements::Cuc, &KeplerElements::Cus,      &KeplerElements::Crc,
    &KeplerElements::Crs,    &KeplerElements::Cic, &KeplerElements::Cis,      &KeplerElements::af0,
    &KeplerElements::af1,    &KeplerElements::af2, &KeplerElements::TGD};
inline constexpr int32_t KeplerElements::*kIntegerFields[] = {&KeplerElements::week, &KeplerElements::toe,
                                                              &KeplerElements::toc, &KeplerElements::IODC,
                                                              &KeplerElements::IODE};

// Equal integers, and doubles within relative (0: exactly equal).
inline void ExpectSameElements(const KeplerElements& a, const KeplerElements& b, double relative = 0.0) {
    for (size_t i = 0; i < std::size(kDoubleFields); ++i)
        EXPECT_LE(std::fabs(a.*kDoubleFields[i] - b.*kDoubleFields[i]), relative * std::fabs(b.*kDoubleFields[i]))
            << "double field " << i << ": " << a.*kDoubleFields[i] << " vs " << b.*kDoubleFields[i];
    for (size_t i = 0; i < std::size(kIntegerFields); ++i)
        EXPECT_EQ(a.*kIntegerFields[i], b.*kIntegerFields[i]) << "integer field " << i;
}

// A subframe rebuilt with new data bits in one of its words.
inline simulation::LnavWords Rebuilt(const simulation::LnavWords& sf, int word, uint32_t clearMask, uint32_t setBits) {
    std::array<uint32_t, simulation::kLnavWordsPerSubframe> data{};
    for (int w = 0; w < simulation::kLnavWordsPerSubframe; ++w) data[w] = sf[w] >> 6;
    data[word] = (data[word] & ~clearMask) | setBits;
    return simulation::FinishLnavSubframe(data);
}

// The subframe ID sits in d20 to d22 of the HOW.
inline simulation::LnavWords WithSubframeId(const simulation::LnavWords& sf, int id) {
    return Rebuilt(sf, 1, 7u << 2, static_cast<uint32_t>(id) << 2);
}

inline simulation::LnavWords WithPreamble(const simulation::LnavWords& sf, uint32_t preamble) {
    return Rebuilt(sf, 0, 0xFFu << 16, preamble << 16);
}

// The input buffer of an assembler of the given layout.
inline simulation::Bytes Input(const simulation::LnavWords& sf, int layout, uint32_t spareBits = 3) {
    return layout == 0 ? simulation::ToLayout0(sf) : simulation::ToLayout1(sf, spareBits);
}

}  // namespace navtest
