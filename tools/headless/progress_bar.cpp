#include "progress_bar.h"

#include <unistd.h>

#include <cstdio>

namespace verdanium {

ProgressBar::ProgressBar(std::string label_, std::uint64_t total_)
    : label(std::move(label_)), total(total_), visible(isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    finish();
}

void ProgressBar::finish() {
    if (drawn) {
        std::fputc('\n', stderr);
        drawn = false;
    }
}

void ProgressBar::update(std::uint64_t done) {
    if (!visible || total == 0) {
        return;
    }
    constexpr int cells = 40;
    int filled = static_cast<int>(done * cells / total);
    std::fprintf(stderr, "\r%s [", label.c_str());
    for (int cell = 0; cell < cells; ++cell) {
        std::fputc(cell < filled ? '#' : '.', stderr);
    }
    std::fprintf(stderr, "] %llu/%llu", static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(total));
    std::fflush(stderr);
    drawn = true;
}

} // namespace verdanium
