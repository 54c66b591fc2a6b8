#pragma once
// Collects what a CEphemerisStore reports to its host, level and words.
#include <string>
#include <vector>

namespace storetest {

struct Report {
    int level;
    std::string text;
};

inline std::vector<Report>& Reports() {
    static std::vector<Report> list;
    return list;
}

inline void Record(int level, double, const char* text) { Reports().push_back({level, text}); }

}  // namespace storetest
