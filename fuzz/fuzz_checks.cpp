// Runs every check with every repair on arbitrary raw file bytes. The first
// byte says whether an ephemeris file lies beside it: odd puts there the
// .epp of the sample log the seeds were made from, so that the repairs that
// solve positions and recompute Dopplers get as far as real data takes them.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "conversion/Converter.h"
#include "preprocess/TrvPreprocessor.h"
#include "simulation/SampleLog.h"

namespace {

std::string folder;
std::string ephemeris;   // the sample's .epp, or empty when it could not be made

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
}

// The .epp of a short sample log, converted once.
void MakeEphemeris() {
    simulation::SampleLogOptions options;
    options.epochs = 40;
    options.clutter = false;
    simulation::UbxLog log;
    log.Add(simulation::BuildSampleLog(options));
    const std::string input = folder + "/sample.ubx";
    if (!log.Save(input)) return;
    ConvertParams params{};
    params.structSize = UBLOX2TRV_PARAMS_SIZE;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    ublox2trv::SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    params.options.runChecks = 0;
    std::snprintf(params.inputFile, sizeof params.inputFile, "%s", input.c_str());
    std::snprintf(params.outputFile, sizeof params.outputFile, "%s/sample.trv", folder.c_str());
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    if (ublox2trv::ConvertFile(&params, &callbacks) == 0) ephemeris = folder + "/sample.epp";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    folder = "/tmp/fuzz_checks_" + std::to_string(getpid());
    std::filesystem::create_directories(folder);
    MakeEphemeris();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const std::string work = folder + "/work";
    std::error_code error;
    std::filesystem::remove_all(work, error);
    std::filesystem::create_directories(work, error);
    const std::string path = work + "/input.trv";
    WriteFile(path, data + 1, size - 1);
    if ((data[0] & 1) != 0 && !ephemeris.empty())
        std::filesystem::copy_file(ephemeris, work + "/input.epp", error);
    RunChecksOnFile(path.c_str(), nullptr, true, true, true, nullptr);
    return 0;
}
