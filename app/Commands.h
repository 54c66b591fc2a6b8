#pragma once
#include <string>
#include <vector>

// Each command takes its own arguments (without the command word) and
// returns the process exit status.
using Arguments = std::vector<std::string>;

int RunConvert(const Arguments& args);
int RunDetect(const Arguments& args);
int RunInfo(const Arguments& args);
int RunDump(const Arguments& args);
int RunOrbit(const Arguments& args);
int RunSimulate(const Arguments& args);
int RunPosition(const Arguments& args);
int RunCheck(const Arguments& args);
// info on an .epp file: its ephemerides by satellite.
int RunEppInfo(const Arguments& args);

// True when args ask for help; prints usage to stdout.
bool WantsHelp(const Arguments& args, const char* usage);
// Prints "ublox2trv: <text>" and the usage hint to stderr; returns exit status 2.
int UsageError(const std::string& text, const char* usage);
