#include "ProgressBar.h"

#include <unistd.h>

namespace {
constexpr int kBarWidth = 40;
constexpr int kPlainStep = 10;   // percent between plain progress lines
}  // namespace

CProgressBar::CProgressBar(FILE* s, const char* counted)
    : stream(s), unit(counted), terminal(isatty(fileno(s)) != 0) {}

void CProgressBar::Update(long long done, long long total) {
    int percent = total > 0 ? static_cast<int>(done * 100 / total) : 100;
    if (percent > 100) percent = 100;
    if (terminal) {
        if (percent == lastShown) return;
        int filled = percent * kBarWidth / 100;
        std::fprintf(stream, "\r[");
        for (int i = 0; i < kBarWidth; ++i) std::fputc(i < filled ? '#' : '.', stream);
        std::fprintf(stream, "] %3d%%  %lld / %lld %s", percent, done, total, unit);
        lineOpen = true;
    } else {
        int step = percent / kPlainStep * kPlainStep;
        if (step == lastShown) return;
        percent = step;
        std::fprintf(stream, "progress: %d%% (%lld of %lld %s)\n", step, done, total, unit);
    }
    lastShown = percent;
    std::fflush(stream);
}

void CProgressBar::Break() {
    if (lineOpen) {
        std::fputc('\n', stream);
        lineOpen = false;
        lastShown = -1;
    }
}

void CProgressBar::Finish() { Break(); }
