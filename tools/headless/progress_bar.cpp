#include "progress_bar.h"

#include <unistd.h>

#include <cstdio>

namespace verdanium {

ProgressBar::ProgressBar(std::string label_, std::uint64_t total_, bool linesWhenPiped)
    : label(std::move(label_)), total(total_), inPlace(isatty(STDERR_FILENO) != 0),
      asLines(!inPlace && linesWhenPiped) {}

ProgressBar::~ProgressBar() {
    finish();
}

void ProgressBar::finish() {
    if (drawn) {
        std::fputc('\n', stderr);
        drawn = false;
    }
}

std::string ProgressBar::timeLeft(std::uint64_t done) const {
    if (done == 0 || done >= total) {
        return "";
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - started).count();
    const auto seconds = static_cast<unsigned long long>(
        elapsed / static_cast<double>(done) * static_cast<double>(total - done) + 0.5);
    char text[64];
    std::snprintf(text, sizeof text, ", %llu:%02llu:%02llu left", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return text;
}

void ProgressBar::update(std::uint64_t done) {
    if (total == 0 || (!inPlace && !asLines)) {
        return;
    }
    if (asLines) {
        // A line at most every five seconds, and always the last one.
        const Clock::time_point now = Clock::now();
        if (done < total && (done == 0 || now - lastLine < std::chrono::seconds(5))) {
            return;
        }
        lastLine = now;
        std::fprintf(stderr, "%s: %llu/%llu%s\n", label.c_str(), static_cast<unsigned long long>(done),
                     static_cast<unsigned long long>(total), timeLeft(done).c_str());
        std::fflush(stderr);
        return;
    }
    constexpr int cells = 40;
    int filled = static_cast<int>(done * cells / total);
    std::fprintf(stderr, "\r%s [", label.c_str());
    for (int cell = 0; cell < cells; ++cell) {
        std::fputc(cell < filled ? '#' : '.', stderr);
    }
    std::fprintf(stderr, "] %llu/%llu%s\x1b[K", static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(total), timeLeft(done).c_str());
    std::fflush(stderr);
    drawn = true;
}

} // namespace verdanium
