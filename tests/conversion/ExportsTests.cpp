// The shared library as a host sees it: loaded by name, seven C functions.
#include <dlfcn.h>

#include "Harness.h"
#include "simulation/UbxWriter.h"
#include "support/TestPaths.h"

TEST(Exports, AHostConvertsThroughTheCFunctions) {
    const std::string path = (ubxtest::BinaryDir() / "lib" / "libublox2trv.so").string();
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) GTEST_SKIP() << "shared library not built: " << dlerror();
    auto find = [&](const char* name) { return dlsym(library, name); };
    for (const char* name : {"ConvertFile", "AutoDetect", "Abort", "GetErrString", "SetFactoryDefaults",
                             "_DLLVersionNumber_", "_DLLVersionYear_"})
        EXPECT_NE(find(name), nullptr) << name;
    EXPECT_EQ(find("_ZN9ublox2trv10DecodeByteEhP13StationRecord"), nullptr);  // helpers stay inside
    auto version = reinterpret_cast<double (*)()>(find("_DLLVersionNumber_"));
    auto defaults = reinterpret_cast<void (*)(int32_t, void*)>(find("SetFactoryDefaults"));
    auto convert = reinterpret_cast<int32_t (*)(ConvertParams*, ConvertCallbacks*)>(find("ConvertFile"));
    auto errorText = reinterpret_cast<void (*)(char*)>(find("GetErrString"));
    ASSERT_TRUE(version && defaults && convert && errorText);
    EXPECT_DOUBLE_EQ(version(), 9.002207);

    ubxtest::TempDir dir;
    simulation::UbxLog log;
    ASSERT_TRUE(log.Add(simulation::MakeTimTm2(simulation::TimeMark{})).Save(dir.File("in.ubx")));
    ConvertParams params = convtest::MakeParams(dir.File("in.ubx"), dir.File("out.trv"));
    params.options.runChecks = 7;
    defaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    EXPECT_EQ(params.options.runChecks, 1);
    ConvertCallbacks callbacks{UBLOX2TRV_CALLBACKS_SIZE, {}, nullptr, nullptr, {}};
    EXPECT_EQ(convert(&params, &callbacks), 0);
    EXPECT_EQ(params.eventsWritten, 1);

    params.structVersion = 13;
    EXPECT_EQ(convert(&params, &callbacks), 1);
    char text[512];
    errorText(text);
    EXPECT_STREQ(text, "Incorrect version of ublox2trv.dll");
    dlclose(library);
}
