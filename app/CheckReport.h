#pragma once
// The pre-processing checks as the command line runs and shows them.
#include <string>

#include "rawfile/TrvFile.h"

// Runs every check on a closed .trv file with a progress bar, then prints
// the report table of the file, the side files that repairs wrote and
// their epochs. Returns the process exit status: 0 when the checks ran to
// the end, 1 when they could not.
int CheckAndReport(const std::string& path, bool fixStaticKinematic);

// The results block of a version 3 header in words, one item a line.
void PrintResultsBlock(const TrvPreprocessBlockV3& results);
