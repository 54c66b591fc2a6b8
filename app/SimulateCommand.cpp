// Writes a synthetic UBX log, so that a host can be tried without a receiver.
#include <cmath>
#include <cstdio>
#include <string>

#include "Commands.h"
#include "simulation/SampleLog.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv simulate -o LOG.ubx [--station LAT LON H] [--start WEEK SOW]\n"
    "                          [--duration SECONDS] [--rate HZ] [--systems GREC] [--clutter]\n"
    "\n"
    "Writes a synthetic u-blox log: RXM-RAWX measurements of the satellites seen\n"
    "from a fixed station, consistent with their broadcast orbits and clocks, the\n"
    "troposphere and the broadcast ionosphere, without noise; their navigation\n"
    "words (GPS LNAV, GLONASS strings, Galileo I/NAV, BeiDou D1) every 30 s in\n"
    "RXM-SFRBX, NAV-POSLLH positions and TIM-TM2 event marks.\n"
    "\n"
    "  -o, --output LOG.ubx   the log to write (required)\n"
    "  --station LAT LON H    station in degrees and metres; default 52.2297 21.0122 110\n"
    "  --start WEEK SOW       GPS week and second of week of the first epoch;\n"
    "                         default 2300 345600\n"
    "  --duration SECONDS     default 3600\n"
    "  --rate HZ              measurements per second; default 1\n"
    "  --systems LETTERS      G GPS, R GLONASS, E Galileo, C BeiDou; default GREC\n"
    "  --clutter              add what real logs carry besides: NMEA text, unknown\n"
    "                         records, damaged frames, garbage, a cut last frame\n";

// Longest log the command writes: a day at 20 Hz.
constexpr double kMaxEpochs = 86400.0 * 20.0;

bool ToNumber(const std::string& text, double& value) {
    try {
        size_t used = 0;
        value = std::stod(text, &used);
        return used == text.size() && std::isfinite(value);
    } catch (...) {
        return false;
    }
}

}  // namespace

int RunSimulate(const Arguments& args) {
    if (WantsHelp(args, kUsage)) return 0;
    simulation::SampleLogOptions options;
    options.clutter = false;
    std::string output;
    double duration = 3600.0, rate = 1.0;
    // Takes count numbers after the option at i; false when they are missing or not numbers.
    auto numbers = [&](size_t& i, size_t count, double* values) {
        if (i + count >= args.size()) return false;
        for (size_t k = 0; k < count; ++k)
            if (!ToNumber(args[i + 1 + k], values[k])) return false;
        i += count;
        return true;
    };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        double v[3];
        if ((a == "-o" || a == "--output") && i + 1 < args.size()) {
            output = args[++i];
        } else if (a == "--station") {
            if (!numbers(i, 3, v) || std::fabs(v[0]) > 90.0 || std::fabs(v[1]) > 180.0)
                return UsageError("--station takes a latitude, a longitude and a height", kUsage);
            options.latitude = v[0], options.longitude = v[1], options.height = v[2];
        } else if (a == "--start") {
            if (!numbers(i, 2, v) || v[0] < 1024 || v[0] > 9999 || v[1] < 0.0 || v[1] >= 604800.0)
                return UsageError("--start takes a full GPS week and a second of week", kUsage);
            options.week = static_cast<int>(v[0]);
            options.startTow = v[1];
        } else if (a == "--duration") {
            if (!numbers(i, 1, v) || v[0] <= 0.0) return UsageError("--duration takes a positive number", kUsage);
            duration = v[0];
        } else if (a == "--rate") {
            if (!numbers(i, 1, v) || v[0] <= 0.0 || v[0] > 20.0)
                return UsageError("--rate takes a number of epochs per second up to 20", kUsage);
            rate = v[0];
        } else if (a == "--systems" && i + 1 < args.size()) {
            options.systems = args[++i];
            if (options.systems.empty() || options.systems.find_first_not_of("GREC") != std::string::npos)
                return UsageError("--systems takes letters of G, R, E and C", kUsage);
        } else if (a == "--clutter") {
            options.clutter = true;
        } else {
            return UsageError("unexpected argument '" + a + "'", kUsage);
        }
    }
    if (output.empty()) return UsageError("no output given (-o LOG.ubx)", kUsage);
    const double epochs = std::floor(duration * rate + 0.5);
    if (epochs < 1.0 || epochs > kMaxEpochs) return UsageError("--duration and --rate give no sensible log", kUsage);
    options.epochs = static_cast<int>(epochs);
    options.interval = 1.0 / rate;

    simulation::SampleLogStats stats;
    simulation::UbxLog log;
    log.Add(simulation::BuildSampleLog(options, &stats));
    if (!log.Save(output)) {
        std::fprintf(stderr, "ublox2trv: cannot write %s\n", output.c_str());
        return 1;
    }
    std::printf("%s: %zu bytes, %d epochs, %d signals, %d event marks\n", output.c_str(), log.Data().size(),
                stats.epochs, stats.signals, stats.marks);
    return 0;
}
