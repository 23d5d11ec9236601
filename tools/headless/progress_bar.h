#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace verdanium {

// A one-line progress bar on standard error with the estimated time left, redrawn in place. It draws only
// when standard error is a terminal, so logs and pipes get no carriage returns; a bar made with
// `linesWhenPiped` writes a plain line there instead, at most every few seconds and at the end (for runs
// whose standard error is always a pipe, as under mpirun).
class ProgressBar {
public:
    ProgressBar(std::string label, std::uint64_t total, bool linesWhenPiped = false);
    ~ProgressBar();

    // Marks `done` of `total` steps as finished and redraws.
    void update(std::uint64_t done);
    // Ends the bar's line, so that later output starts on a line of its own. Called by the destructor too.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    // ", 1:02:03 left" from the pace so far; empty before the first step and after the last.
    std::string timeLeft(std::uint64_t done) const;

    std::string label;
    std::uint64_t total;
    bool inPlace;
    bool asLines;
    bool drawn = false;
    Clock::time_point started = Clock::now();
    Clock::time_point lastLine = started;
};

} // namespace verdanium
