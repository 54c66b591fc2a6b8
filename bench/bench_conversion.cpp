// Conversion throughput in MB/s of input, on generated logs of several
// lengths and on the largest real log. Peak memory is measured per process
// by compare_convbin.py: here the generated logs are built in memory first,
// which would hide the converter's own peak.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "conversion/Converter.h"
#include "simulation/SampleLog.h"
#include "support/TestPaths.h"

namespace fs = std::filesystem;

namespace {

const ubxtest::TempDir& Scratch() {
    static ubxtest::TempDir dir;
    return dir;
}

std::string GeneratedLog(int epochs) {
    std::string path = Scratch().File("generated_" + std::to_string(epochs) + ".ubx");
    if (!fs::exists(path)) {
        simulation::SampleLogOptions options;
        options.epochs = epochs;
        simulation::UbxLog log;
        log.Add(simulation::BuildSampleLog(options));
        log.Save(path);
    }
    return path;
}

void Convert(benchmark::State& state, const std::string& input) {
    ConvertParams params{};
    params.structSize = sizeof params;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    ublox2trv::SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    params.options.runChecks = 0;
    std::strncpy(params.inputFile, input.c_str(), sizeof params.inputFile - 1);
    std::string output = Scratch().File("bench.trv");
    std::strncpy(params.outputFile, output.c_str(), sizeof params.outputFile - 1);
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;

    const auto bytes = static_cast<int64_t>(fs::file_size(input));
    for (auto _ : state) {
        if (ublox2trv::ConvertFile(&params, &callbacks) != 0) state.SkipWithError("conversion failed");
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["epochs"] = params.epochsWritten;
    state.counters["input_MB"] = bytes / 1e6;
}

void BM_ConvertGenerated(benchmark::State& state) { Convert(state, GeneratedLog(static_cast<int>(state.range(0)))); }
BENCHMARK(BM_ConvertGenerated)->Arg(600)->Arg(3600)->Arg(14400)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ConvertLargestRealLog(benchmark::State& state) {
    fs::path dir = fs::path(UBLOX2TRV_SHARED_DATA_DIR) / "ubx";
    fs::path largest;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(dir, ec))
        if (largest.empty() || entry.file_size() > fs::file_size(largest)) largest = entry.path();
    if (largest.empty()) {
        state.SkipWithError("../shared/data/ubx is absent");
        return;
    }
    state.SetLabel(largest.filename().string());
    Convert(state, largest.string());
}
BENCHMARK(BM_ConvertLargestRealLog)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
