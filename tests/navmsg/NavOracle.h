#pragma once
// What the BeiDou and Galileo assembler tests share with an independent
// decoder: RTKLIB's convbin, when installed, turns a UBX log into a RINEX
// navigation file; and the RXM-SFRBX records of a log, read straight from
// its frames, for feeding real receiver words to our assemblers.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/TestPaths.h"
#include "simulation/UbxWriter.h"

namespace navtest {

inline constexpr const char* kConvbin = "/usr/bin/convbin";

inline bool HaveConvbin() { return std::filesystem::exists(kConvbin); }

// Runs convbin on a log; the path of the RINEX 3.04 navigation file, or
// empty when convbin failed.
inline std::string RunConvbin(const std::string& log, const ubxtest::TempDir& dir) {
    const std::string nav = dir.File("oracle.nav");
    const std::string command = std::string(kConvbin) + " -r ubx -v 3.04 -od -os -o " + dir.File("oracle.obs") +
                                " -n " + nav + " " + log + " > " + dir.File("convbin.log") + " 2>&1";
    if (std::system(command.c_str()) != 0) return {};
    return nav;
}

// The numbers of every RINEX 3 record of one satellite, in file order: the
// three clock terms of the first line, then four per line.
inline std::vector<std::vector<double>> ReadNavigationRecords(const std::string& path, const std::string& satellite) {
    std::ifstream in(path);
    std::string line;
    std::vector<std::vector<double>> records;
    bool headerDone = false;
    bool inRecord = false;
    while (std::getline(in, line)) {
        if (!headerDone) {
            headerDone = line.find("END OF HEADER") != std::string::npos;
            continue;
        }
        for (char& c : line)
            if (c == 'D') c = 'E';
        if (line.rfind(satellite, 0) == 0) {
            inRecord = true;
            records.emplace_back();
            for (size_t at = 23; at + 19 <= line.size(); at += 19) records.back().push_back(std::stod(line.substr(at, 19)));
            continue;
        }
        if (!inRecord || line.size() < 5 || line[0] != ' ') {
            inRecord = false;
            continue;
        }
        for (size_t at = 4; at + 19 <= line.size(); at += 19) {
            const std::string field = line.substr(at, 19);
            records.back().push_back(field.find_first_not_of(' ') == std::string::npos ? 0.0 : std::stod(field));
        }
    }
    return records;
}

// Equal to RINEX's twelve printed digits.
inline bool SameAsPrinted(double printed, double ours) {
    return std::fabs(printed - ours) <= 1e-11 * std::fabs(ours) + 1e-300;
}

struct SfrbxRecord {
    uint8_t gnssId, svId, sigId;
    std::vector<uint32_t> words;
};

// Every RXM-SFRBX record with a good checksum in a log file.
inline std::vector<SfrbxRecord> ReadSfrbx(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<SfrbxRecord> records;
    size_t i = 0;
    while (i + 8 <= data.size()) {
        if (data[i] != 0xB5 || data[i + 1] != 0x62) {
            ++i;
            continue;
        }
        const size_t length = data[i + 4] | (size_t{data[i + 5]} << 8);
        if (i + 8 + length > data.size()) break;
        uint8_t a = 0, b = 0;
        simulation::UbxChecksum(&data[i + 2], length + 4, a, b);
        if (a != data[i + 6 + length] || b != data[i + 7 + length]) {
            ++i;
            continue;
        }
        const uint8_t* p = &data[i + 6];
        if (data[i + 2] == 0x02 && data[i + 3] == 0x13 && length >= 8 && length >= 8 + 4 * size_t{p[4]}) {
            SfrbxRecord r{p[0], p[1], p[2], {}};
            for (int w = 0; w < p[4]; ++w) {
                const uint8_t* q = p + 8 + 4 * w;
                r.words.push_back(q[0] | (uint32_t{q[1]} << 8) | (uint32_t{q[2]} << 16) | (uint32_t{q[3]} << 24));
            }
            records.push_back(std::move(r));
        }
        i += 8 + length;
    }
    return records;
}

// The words most significant byte first, as the router hands them on.
inline std::vector<uint8_t> Expand(const std::vector<uint32_t>& words) {
    std::vector<uint8_t> bytes;
    for (uint32_t w : words)
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(w >> shift));
    return bytes;
}

}  // namespace navtest
