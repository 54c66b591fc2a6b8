#pragma once
// What the navigation message tests share: sample ephemerides, exact
// comparison of Kepler blocks, the check of a refused decoding, the
// RXM-SFRBX records of a real log, and RTKLIB's convbin as an independent
// decoder.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "ephemeris/EphemerisRecords.h"
#include "navmsg/INavigationMessage.h"
#include "simulation/NavEncoders.h"
#include "support/TestPaths.h"

namespace navtest {

// A plausible medium-orbit Kepler block; data set 1 follows data set 0 with
// a new toe and new IODs.
inline KeplerElements SampleKepler(int dataSet = 0) {
    const int32_t toe = dataSet == 0 ? 345600 : 352800;
    return {.week = 2300, .toe = toe, .sqrtA = 5153.651, .e = 0.01234, .i0 = 0.9634, .Omega0 = -2.1031,
            .omega = 0.7712, .M0 = 1.2345, .deltaN = 4.5e-9, .OmegaDot = -8.1e-9, .IDOT = 2.1e-10, .Cuc = -1.2e-6,
            .Cus = 7.5e-6, .Crc = 250.3, .Crs = -20.1, .Cic = 1.1e-7, .Cis = -5.2e-8, .toc = toe, .af0 = 1.2e-4,
            .af1 = -3.4e-12, .af2 = 0.0, .TGD = -1.1e-8, .IODC = dataSet == 0 ? 0x1A5 : 0x0C3,
            .IODE = dataSet == 0 ? 0xA5 : 0xC3};
}

// Every field at the top (sign +1) or the bottom (sign -1) of its range once
// an encoder has clamped it, so that a wrong width or sign extension shows.
inline KeplerElements ExtremeKepler(int sign) {
    const double big = sign * 1e12, top = sign > 0 ? big : 0.0;
    const int32_t time = sign > 0 ? 1 << 30 : 0, iod = sign > 0 ? 0x3FF : 0x300;
    return {sign > 0 ? 8191 : 0, time, top, top, big, big, big, big, big, big, big, big, big, big, big, big, big,
            time, big, big, big, big, iod, iod};
}

// The same block as BeiDou D1 sends it: AODC and AODE apart, two group delays.
inline BdsEphemerisRecord BdsSample(int dataSet = 0) {
    BdsEphemerisRecord r{};
    r.elements = SampleKepler(dataSet);
    r.elements.week = 912;
    r.elements.IODC = 1 + dataSet;
    r.elements.IODE = 17 + dataSet;
    r.elements.af2 = 3.0e-19;
    r.tgd2 = -4.5e-9;
    r.urai = 2;
    return r;
}

// The same block as Galileo I/NAV sends it, IODE standing for IODnav, with
// its own clock and group delays.
inline GalEphemerisRecord GalSample(int dataSet = 0) {
    GalEphemerisRecord r{};
    r.elements = SampleKepler(dataSet);
    r.elements.week = 1276;
    r.prn = 11;
    r.sisa = 107;
    r.iNavToc = 345600;
    r.iNavAf0 = -6.2e-4;
    r.iNavAf1 = -8.9e-12;
    r.bgdE1E5a = 1.9e-9;
    r.bgdE1E5b = 2.3e-9;
    r.e5bHealth = 1;  // neighbouring flags unlike, so that a shifted one shows
    r.e1bHealth = 2;
    r.e1bDataValidity = 1;
    return r;
}

// A plausible GLONASS frame; data set 1 is a later one.
inline GloEphemerisRecord GloSample(int dataSet = 0) {
    GloEphemerisRecord r{};
    r.tk = 5 * 3600 + 14 * 60 + 30;
    r.tb = (21 + dataSet) * 900;
    const double axes[3][3] = {{12345.6789 + dataSet, -20123.4567, 5432.1}, {1.2345678, -2.3456789, 3.0123},
                               {1.86e-9, -9.3e-10, 0.0}};
    std::memcpy(r.position, axes[0], sizeof r.position);
    std::memcpy(r.velocity, axes[1], sizeof r.velocity);
    std::memcpy(r.acceleration, axes[2], sizeof r.acceleration);
    r.gamma = 1.8e-12f;
    r.minusTau = 3.21e-5f;
    r.En = 2;
    r.pFlags = 0xD;  // P1 = 1, P3 = 1
    r.satelliteNumber = 7;
    r.NT = 1234;
    return r;
}

inline void ExpectSameKepler(const KeplerElements& a, const KeplerElements& b) {
    EXPECT_EQ(std::tie(a.week, a.toe, a.toc, a.IODC, a.IODE), std::tie(b.week, b.toe, b.toc, b.IODC, b.IODE));
    EXPECT_EQ(std::tie(a.sqrtA, a.e, a.i0, a.Omega0, a.omega, a.M0, a.deltaN, a.OmegaDot, a.IDOT),
              std::tie(b.sqrtA, b.e, b.i0, b.Omega0, b.omega, b.M0, b.deltaN, b.OmegaDot, b.IDOT));
    EXPECT_EQ(std::tie(a.Cuc, a.Cus, a.Crc, a.Crs, a.Cic, a.Cis, a.af0, a.af1, a.af2, a.TGD),
              std::tie(b.Cuc, b.Cus, b.Crc, b.Crs, b.Cic, b.Cis, b.af0, b.af1, b.af2, b.TGD));
}

// Decodes a complete set into a record of size bytes. With text null it
// decodes; otherwise it is refused with text, the record zeroed rather than
// half filled, and the slots kept.
inline void ExpectDecoding(INavigationMessage& m, size_t size, const char* text) {
    alignas(8) uint8_t record[512];
    std::memset(record, 0xA5, sizeof record);
    ASSERT_TRUE(m.IsComplete());
    EXPECT_EQ(m.GetEphemeris(record), text == nullptr ? 1 : 0) << m.ErrorText();
    if (text == nullptr) return;
    EXPECT_EQ(m.ErrorText(), text);
    EXPECT_EQ(std::count(record, record + size, 0), static_cast<long>(size));
    EXPECT_TRUE(m.IsComplete());
}

// The input of subframes 1 to 3, GPS, QZSS or BeiDou, in a layout; layout 1
// with the spare bits above each word set, as a receiver may leave them.
inline std::vector<simulation::Bytes> Inputs(const simulation::LnavSubframeSet& set, int layout) {
    std::vector<simulation::Bytes> pieces;
    for (const auto& sf : set) pieces.push_back(layout == 0 ? simulation::ToLayout0(sf) : simulation::ToLayout1(sf, 3));
    return pieces;
}

// The record decoded from pieces stored in turn, each taken with its number.
template <class Record>
Record Decoded(INavigationMessage& m, const std::vector<simulation::Bytes>& pieces) {
    for (size_t n = 1; n <= pieces.size(); ++n) EXPECT_EQ(m.Store(pieces[n - 1].data()), int(n)) << m.ErrorText();
    Record r;
    std::memset(&r, 0xA5, sizeof r);
    EXPECT_EQ(m.GetEphemeris(&r), 1) << m.ErrorText();
    return r;
}

struct SfrbxRecord {
    uint8_t gnssId, svId, sigId, freqId;
    std::vector<uint32_t> words;
    simulation::Bytes bytes;  // the words most significant byte first, as the router hands them on
};

// Every RXM-SFRBX record with a good checksum in a real log.
inline std::vector<SfrbxRecord> ReadSfrbx(const std::string& name) {
    std::ifstream in(ubxtest::SharedUbxDir() / name, std::ios::binary);
    const std::vector<uint8_t> d((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<SfrbxRecord> records;
    for (size_t i = 0; i + 8 <= d.size(); ++i) {
        if (d[i] != 0xB5 || d[i + 1] != 0x62) continue;
        const size_t length = d[i + 4] | (size_t{d[i + 5]} << 8);
        if (i + 8 + length > d.size()) break;
        uint8_t a = 0, b = 0;
        simulation::UbxChecksum(&d[i + 2], length + 4, a, b);
        if (a != d[i + 6 + length] || b != d[i + 7 + length]) continue;
        const uint8_t* p = &d[i + 6];
        if (d[i + 2] == 0x02 && d[i + 3] == 0x13 && length >= 8 && length >= 8 + 4 * size_t{p[4]}) {
            SfrbxRecord r{p[0], p[1], p[2], p[3], {}, {}};
            for (const uint8_t* q = p + 8; q < p + 8 + 4 * p[4]; q += 4) {
                r.words.push_back(q[0] | (uint32_t{q[1]} << 8) | (uint32_t{q[2]} << 16) | (uint32_t{q[3]} << 24));
                r.bytes.insert(r.bytes.end(), {q[3], q[2], q[1], q[0]});
            }
            records.push_back(std::move(r));
        }
        i += 7 + length;
    }
    return records;
}

inline bool HaveConvbin() { return std::filesystem::exists("/usr/bin/convbin"); }

// The records of each satellite ("G05", "C12", ...) in the RINEX 3.04
// navigation file that convbin writes for a log, in file order: the second of
// day of the epoch, then the three numbers of the first line and the four of
// each further line.
inline std::map<std::string, std::vector<std::vector<double>>> Convbin(const std::string& log) {
    const ubxtest::TempDir dir;
    const std::string nav = dir.File("oracle.nav");
    const std::string command = "/usr/bin/convbin -r ubx -v 3.04 -od -os -o " + dir.File("oracle.obs") + " -n " + nav +
                                " " + log + " > " + dir.File("convbin.log") + " 2>&1";
    std::map<std::string, std::vector<std::vector<double>>> records;
    std::ifstream in(std::system(command.c_str()) == 0 ? nav : std::string());
    std::string line;
    bool headerDone = false;
    std::vector<double>* record = nullptr;
    while (std::getline(in, line)) {
        if (!headerDone) {
            headerDone = line.find("END OF HEADER") != std::string::npos;
            continue;
        }
        std::replace(line.begin(), line.end(), 'D', 'E');
        size_t at = 4;
        if (line.size() >= 23 && line[0] != ' ') {
            const double second = std::stod(line.substr(15, 2)) * 3600 + std::stod(line.substr(18, 2)) * 60;
            record = &records[line.substr(0, 3)].emplace_back(1, second + std::stod(line.substr(21, 2)));
            at = 23;
        } else if (record == nullptr) {
            continue;
        }
        for (; at + 19 <= line.size(); at += 19) {
            const std::string field = line.substr(at, 19);
            record->push_back(field.find_first_not_of(' ') == std::string::npos ? 0.0 : std::stod(field));
        }
    }
    return records;
}

// Equal to RINEX's twelve printed digits.
inline bool SameAsPrinted(double printed, double ours) {
    return std::fabs(printed - ours) <= 1e-11 * std::fabs(ours) + 1e-300;
}

// Our decoding of one constellation in a real log, one assembler per
// satellite emptied after each record, held against convbin's record of the
// same satellite, IOD (value 4) and toe (value 12). values(svId, record)
// gives what convbin should print as value 1, 2, ... after the epoch, NaN
// where nothing is compared. The number of records compared.
template <class Assembler, class Record, class Keep, class Values>
int CompareRealLogWithConvbin(const std::string& log, char system, Keep keep, Values values) {
    auto theirs = Convbin((ubxtest::SharedUbxDir() / log).string());
    std::map<int, std::unique_ptr<Assembler>> assemblers;
    int compared = 0;
    for (const SfrbxRecord& piece : ReadSfrbx(log)) {
        if (!keep(piece)) continue;
        auto& m = assemblers[piece.svId];
        if (!m) m = std::make_unique<Assembler>(1);
        const int n = m->Store(piece.bytes.data());
        if (n < 1 || n > m->GetItemCount() || !m->IsComplete()) continue;
        Record r{};
        EXPECT_EQ(m->GetEphemeris(&r), 1) << m->ErrorText();
        m->Reset();
        const std::vector<double> ours = values(piece.svId, r);
        const std::string name = system + std::string(piece.svId < 10 ? "0" : "") + std::to_string(piece.svId);
        for (const auto& v : theirs[name]) {
            if (v.size() <= ours.size() || v[4] != ours[3] || v[12] != ours[11]) continue;
            for (size_t i = 0; i < ours.size(); ++i)
                EXPECT_TRUE(std::isnan(ours[i]) || SameAsPrinted(v[i + 1], ours[i])) << name << " value " << i + 1;
            ++compared;
            break;
        }
    }
    return compared;
}

}  // namespace navtest
