#pragma once
#include <cstdio>

// Shows conversion progress: a redrawn bar on a terminal, a plain line per
// tenth of the input otherwise, so that logs stay readable.
class CProgressBar {
public:
    // unit names what done and total count: "bytes", "epochs".
    explicit CProgressBar(FILE* stream, const char* unit = "bytes");
    void Update(long long done, long long total);
    // Ends the bar's line before other text is printed.
    void Break();
    void Finish();

private:
    FILE* stream;
    const char* unit;
    bool terminal;
    bool lineOpen = false;
    int lastShown = -1;
};
