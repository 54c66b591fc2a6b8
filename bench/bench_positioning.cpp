// Epochs solved per second by the single point engine on the hour-long base
// log, and in the same run RTKLIB's rnx2rtkp in single point mode on the
// same epochs (its RINEX made by convbin), each with a 15 degree mask, the
// broadcast ionosphere and the Saastamoinen troposphere.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "conversion/Converter.h"
#include "positioning/SinglePoint.h"
#include "rawfile/TrvFile.h"
#include "support/TestPaths.h"

namespace fs = std::filesystem;

namespace {

constexpr double kMaskDegrees = 15.0;
constexpr double kPi = 3.14159265358979323846;
const char kBaseLog[] = "m8p_base_1hz_gps_glo_61min.ubx";

const ubxtest::TempDir& Scratch() {
    static ubxtest::TempDir dir;
    return dir;
}

fs::path BaseLog() { return fs::path(UBLOX2TRV_SHARED_DATA_DIR) / "ubx" / kBaseLog; }

// The converted log, made once per run: the .trv with its .epp beside it.
const std::string& ConvertedBaseLog() {
    static std::string trv;
    if (!trv.empty() || !fs::exists(BaseLog())) return trv;
    ConvertParams params{};
    params.structSize = sizeof params;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    ublox2trv::SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    params.options.runChecks = 0;
    std::strncpy(params.inputFile, BaseLog().c_str(), sizeof params.inputFile - 1);
    const std::string output = Scratch().File("base.trv");
    std::strncpy(params.outputFile, output.c_str(), sizeof params.outputFile - 1);
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    if (ublox2trv::ConvertFile(&params, &callbacks) == 0) trv = output;
    return trv;
}

std::vector<CGnssEpoch> ReadEpochs(const std::string& path) {
    std::vector<CGnssEpoch> epochs;
    CTrvFile file;
    if (!file.Open(path.c_str(), kTrvRead, false)) return epochs;
    CGnssEpoch epoch;
    for (int i = 0; i < static_cast<int>(file.EpochIndex().size()); ++i)
        if (file.ReadEpochAt(i, epoch) == 0) epochs.push_back(epoch);
    return epochs;
}

void BM_ComputeEpoch(benchmark::State& state) {
    const std::string& trv = ConvertedBaseLog();
    if (trv.empty()) {
        state.SkipWithError("../shared/data/ubx is absent");
        return;
    }
    std::vector<CGnssEpoch> epochs = ReadEpochs(trv);
    CSinglePoint engine(nullptr, true, false);
    SinglePointOptions options;
    for (int c = 0; c < kStoredConstellations; ++c) options.elevationMask[c] = kMaskDegrees * kPi / 180.0;
    options.useIonosphere = true;
    engine.SetOptions(options);
    if (!engine.LoadBroadcastEphemeris(trv.c_str())) {
        state.SkipWithError("the ephemerides of the base log did not load");
        return;
    }
    int64_t solved = 0;
    for (auto _ : state) {
        for (CGnssEpoch& epoch : epochs)
            if (engine.ComputeEpoch(epoch, false, false, nullptr, nullptr) == kSolved) ++solved;
    }
    state.counters["epochs_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations() * epochs.size()), benchmark::Counter::kIsRate);
    state.counters["solved"] = static_cast<double>(solved) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_ComputeEpoch)->Unit(benchmark::kMillisecond)->UseRealTime();

// rnx2rtkp as a whole process, RINEX reading included; its epochs per second
// are counted from the solutions it writes.
void BM_Rnx2rtkp(benchmark::State& state) {
    if (!fs::exists(BaseLog()) || std::system("command -v rnx2rtkp >/dev/null && command -v convbin >/dev/null") != 0) {
        state.SkipWithError("the base log or RTKLIB is absent");
        return;
    }
    const std::string obs = Scratch().File("base.obs"), nav = Scratch().File("base.nav");
    const std::string conf = Scratch().File("spp.conf"), pos = Scratch().File("base.rtk");
    if (!fs::exists(obs)) {
        const std::string convbin = "convbin -r ubx -v 3.04 -od -os -o " + obs + " -n " + nav + " " +
                                    BaseLog().string() + " >/dev/null 2>&1";
        if (std::system(convbin.c_str()) != 0) {
            state.SkipWithError("convbin failed");
            return;
        }
        std::ofstream(conf) << "pos1-posmode=single\npos1-elmask=" << kMaskDegrees
                            << "\npos1-ionoopt=brdc\npos1-tropopt=saas\npos1-navsys=5\nout-timesys=gpst\n"
                               "out-timeform=tow\nout-outhead=off\n";
    }
    const std::string command = "rnx2rtkp -k " + conf + " -o " + pos + " " + obs + " " + nav + " >/dev/null 2>&1";
    int64_t epochs = 0;
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) state.SkipWithError("rnx2rtkp failed");
        std::ifstream in(pos);
        std::string line;
        epochs = 0;
        while (std::getline(in, line))
            if (!line.empty() && line[0] != '%') ++epochs;
    }
    state.counters["epochs_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations() * epochs), benchmark::Counter::kIsRate);
    state.counters["solved"] = static_cast<double>(epochs);
}
BENCHMARK(BM_Rnx2rtkp)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
