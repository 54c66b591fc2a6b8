#include "antenna/AntennaPCVoptions.h"

#include <cstdio>

CAntennaPCVoptions::CAntennaPCVoptions() = default;

void CAntennaPCVoptions::SetName(const char* text) { std::snprintf(name, sizeof name, "%s", text ? text : ""); }
