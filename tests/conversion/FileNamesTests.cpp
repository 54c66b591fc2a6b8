// The output names come from the host's one name by replacing its extension;
// hosts pass folders with either separator.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "conversion/FileNames.h"

using ublox2trv::SetFileExtension;

TEST(FileNames, SetFileExtensionReplacesTheLastExtensionOfTheName) {
    const struct {
        const char* path;
        const char* extension;
        const char* result;
    } cases[] = {
        {"C:\\data\\log.ubx", ".trv", "C:\\data\\log.trv"},
        {"  /data/run.1/log", ".epp", "/data/run.1/log.epp"},  // blanks go, a dot in a folder is no extension
        {"a.b.c", ".sta", "a.b.sta"},
        {"dir\\x.y/name", "", "dir\\x.y/name"},
        {"name.trv", "", "name"},
    };
    for (const auto& c : cases) {
        char path[ublox2trv::kPathSize];
        std::snprintf(path, sizeof path, "%s", c.path);
        EXPECT_TRUE(SetFileExtension(path, c.extension, sizeof path)) << c.path;
        EXPECT_STREQ(path, c.result) << c.path;
    }
}

TEST(FileNames, ANameWithoutRoomForItsExtensionIsReported) {
    char path[ublox2trv::kPathSize];
    const std::string name(ublox2trv::kPathSize - 2, 'n');
    std::snprintf(path, sizeof path, "%s", name.c_str());
    EXPECT_FALSE(SetFileExtension(path, ".trv", sizeof path));
    EXPECT_EQ(std::strlen(path), ublox2trv::kPathSize - 1) << "cut to fit, never beyond the buffer";

    std::snprintf(path, sizeof path, "%s", name.substr(4).c_str());
    EXPECT_TRUE(SetFileExtension(path, ".trv", sizeof path)) << "exactly room for it";
}
