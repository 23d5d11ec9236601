#pragma once

#include <cstdint>
#include <string>

namespace verdanium {

// A one-line progress bar on standard error, redrawn in place. It shows only when standard error is a
// terminal, so logs and pipes get no carriage returns.
class ProgressBar {
public:
    ProgressBar(std::string label, std::uint64_t total);
    ~ProgressBar();

    // Marks `done` of `total` steps as finished and redraws.
    void update(std::uint64_t done);
    // Ends the bar's line, so that later output starts on a line of its own. Called by the destructor too.
    void finish();

private:
    std::string label;
    std::uint64_t total;
    bool visible;
    bool drawn = false;
};

} // namespace verdanium
