#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "Commands.h"
#include "CheckReport.h"
#include "ProgressBar.h"
#include "conversion/ConvertApi.h"
#include "conversion/Converter.h"

namespace {

const char kUsage[] =
    "usage: ublox2trv convert LOG [-o OUT.trv] [--motion auto|static|kinematic]\n"
    "                         [--log-all] [--no-checks]\n"
    "\n"
    "Converts a u-blox UBX log into OUT.trv (raw data), OUT.epp (ephemerides)\n"
    "and OUT.sta (station file and event marks), side by side.\n"
    "\n"
    "  -o, --output OUT.trv  raw data file; default: LOG with the extension .trv\n"
    "  --motion MODE         auto (default): static, with the automatic\n"
    "                        static/kinematic check; static; kinematic\n"
    "  --log-all             show detail messages too, not only the important ones\n"
    "  --no-checks           skip the pre-processing checks after the conversion\n";

// The host's callbacks have no user pointer, so the bar lives here.
CProgressBar* g_bar = nullptr;

void OnMessage(double time, const char* text) {
    if (g_bar) g_bar->Break();
    // Messages may start with a line break of their own; keep them on one line.
    while (*text == '\n') ++text;
    if (time < 0.0)
        std::printf("%12s  %s\n", "-", text);
    else
        std::printf("%12.3f  %s\n", time, text);
}

void OnProgress(int done, int total) {
    if (g_bar) g_bar->Update(done, total);
}

bool ParseMotion(const std::string& word, int32_t& mode) {
    if (word == "auto") mode = ublox2trv::kMotionAutomatic;
    else if (word == "static") mode = 0;
    else if (word == "kinematic") mode = ublox2trv::kMotionKinematic;
    else return false;
    return true;
}

bool CopyPath(char (&target)[256], const std::string& path) {
    if (path.size() >= sizeof target) return false;
    std::memcpy(target, path.c_str(), path.size() + 1);
    return true;
}

}  // namespace

int RunConvert(const Arguments& args) {
    if (WantsHelp(args, kUsage)) return 0;

    ConvertParams params{};
    params.structSize = sizeof params;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);

    std::string input, output;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-o" || a == "--output" || a == "--motion") {
            if (i + 1 >= args.size()) return UsageError(a + " needs a value", kUsage);
            const std::string& value = args[++i];
            if (a == "--motion") {
                if (!ParseMotion(value, params.options.motionMode))
                    return UsageError("unknown motion '" + value + "'", kUsage);
            } else {
                output = value;
            }
        } else if (a == "--log-all") {
            params.options.logAllMessages = 1;
        } else if (a == "--no-checks") {
            params.options.runChecks = 0;
        } else if (!a.empty() && a[0] == '-') {
            return UsageError("unknown option '" + a + "'", kUsage);
        } else if (input.empty()) {
            input = a;
        } else {
            return UsageError("more than one log given", kUsage);
        }
    }
    if (input.empty()) return UsageError("no log given", kUsage);
    if (output.empty()) output = std::filesystem::path(input).replace_extension(".trv").string();
    if (!CopyPath(params.inputFile, input) || !CopyPath(params.outputFile, output))
        return UsageError("paths are limited to 255 bytes", kUsage);

    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    callbacks.message = OnMessage;
    callbacks.progress = OnProgress;

    // The library's own run of the checks keeps its report to itself, so the
    // command converts without them and runs the same checks through the
    // core, where it can read the report.
    const bool runChecks = params.options.runChecks != 0;
    params.options.runChecks = 0;
    CProgressBar bar(stderr);
    g_bar = &bar;
    int32_t result = ConvertFile(&params, &callbacks);
    bar.Finish();
    g_bar = nullptr;

    if (result != 0) {
        char text[512];
        GetErrString(text);
        std::fprintf(stderr, "ublox2trv: conversion failed: %s\n", text);
        return 1;
    }
    const std::filesystem::path base = std::filesystem::path(output).replace_extension(".trv");
    std::printf("\n%s: %d epochs\n", base.string().c_str(), params.epochsWritten);
    std::printf("%s: %d ephemerides\n", std::filesystem::path(base).replace_extension(".epp").string().c_str(),
                params.ephemeridesWritten);
    std::printf("%s: %d event marks\n", std::filesystem::path(base).replace_extension(".sta").string().c_str(),
                params.eventsWritten);
    if (!runChecks) return 0;
    std::printf("\nPerforming pre-processing checks...\n");
    return CheckAndReport(base.string(), params.options.motionMode == ublox2trv::kMotionAutomatic);
}
