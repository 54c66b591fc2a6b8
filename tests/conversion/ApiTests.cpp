// The small entry points and helpers: names, version text, defaults, the
// message filter and the quick UBX probe.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "conversion/Converter.h"
#include "conversion/FileNames.h"
#include "support/TestPaths.h"
#include "support/UbxWriter.h"

using namespace ubxtest;

namespace {

std::string WithExtension(std::string path, const char* extension, size_t capacity = 256) {
    path.resize(std::max(capacity, path.size() + 1));
    ublox2trv::SetFileExtension(path.data(), extension, capacity);
    return path.c_str();
}

}  // namespace

TEST(FileNames, ExtensionsFoldersAndVersions) {
    EXPECT_EQ(WithExtension("/data/run.1/log.ubx", ".trv"), "/data/run.1/log.trv");
    EXPECT_EQ(WithExtension("C:\\run.1\\log", ".sta"), "C:\\run.1\\log.sta");
    EXPECT_EQ(WithExtension("dir.x/sub\\name.a.b", ".epp"), "dir.x/sub\\name.a.epp");
    EXPECT_EQ(WithExtension("  \tlog.ubx", ".trv"), "log.trv");
    EXPECT_EQ(WithExtension("log.ubx", ""), "log");
    EXPECT_EQ(WithExtension("", ".trv"), "");
    EXPECT_EQ(WithExtension("abcdef", ".trv", 8), "abcdef.");  // cut to fit

    char folder[64], name[64];
    ublox2trv::SplitFilePath("C:\\a/b\\c.trv", folder, sizeof folder, name, sizeof name);
    EXPECT_STREQ(folder, "C:\\a/b\\");
    EXPECT_STREQ(name, "c.trv");
    ublox2trv::SplitFilePath("plain.trv", folder, sizeof folder, nullptr, 0);
    EXPECT_STREQ(folder, "");

    char text[32];
    ublox2trv::FormatVersion(9.002207, text, sizeof text);
    EXPECT_STREQ(text, "9.00.2207");
    ublox2trv::FormatVersion(8.70001, text, sizeof text);
    EXPECT_STREQ(text, "8.70.0010");
    ublox2trv::FormatVersion(-1.0, text, sizeof text);
    EXPECT_STREQ(text, "(not available)");
}

TEST(Api, VersionAndDefaults) {
    EXPECT_DOUBLE_EQ(ublox2trv::_DLLVersionNumber_(), 9.002207);
    EXPECT_EQ(ublox2trv::_DLLVersionYear_(), 2024);
    DecoderOptions options{7, 7, 7};
    ublox2trv::SetFactoryDefaults(11, &options);
    ublox2trv::SetFactoryDefaults(13, &options);
    EXPECT_EQ(options.motionMode + options.logAllMessages + options.runChecks, 21);
    ublox2trv::SetFactoryDefaults(12, &options);
    EXPECT_EQ(options.motionMode, 2);
    EXPECT_EQ(options.logAllMessages, 0);
    EXPECT_EQ(options.runChecks, 1);
}

TEST(Api, AutoDetectWantsAWholeFrameOfSensibleLength) {
    TempDir dir;
    auto detect = [&](std::initializer_list<Bytes> parts) {
        UbxLog log;
        for (const Bytes& part : parts) log.Add(part);
        log.Save(dir.File("probe.bin"));
        return ublox2trv::AutoDetect(dir.File("probe.bin").c_str());
    };
    const Bytes mark = MakeTimTm2(TimeMark{}), tail{0};
    EXPECT_EQ(detect({Garbage(1000, 3), mark, tail}), 1);
    EXPECT_EQ(detect({MakeUnknownFrame(0x0A, 0x09, 60), tail}), 1);  // class and id are not looked at
    EXPECT_EQ(detect({mark}), 0);  // the frame must end before the end of the probe
    EXPECT_EQ(detect({BreakChecksum(mark), tail}), 0);
    EXPECT_EQ(detect({Bytes{0xB5, 0x62, 0x05, 0x01, 0, 0}}), 0);
    EXPECT_EQ(detect({MakeFrame(0x05, 0x01, Bytes(3, 1)), tail}), 0);
    EXPECT_EQ(detect({MakeFrame(0x05, 0x01, Bytes(4, 1)), tail}), 1);
    EXPECT_EQ(detect({MakeFrame(0x05, 0x01, Bytes(2048, 1)), tail}), 1);
    EXPECT_EQ(detect({MakeFrame(0x05, 0x01, Bytes(2049, 1)), tail}), 0);
    // Only the first 16 KiB are looked at.
    EXPECT_EQ(detect({Garbage(16384 - 37, 5), mark, tail}), 1);
    EXPECT_EQ(detect({Garbage(16384 - 36, 5), mark, tail}), 0);
    EXPECT_EQ(ublox2trv::AutoDetect(dir.File("missing").c_str()), 0);
}
