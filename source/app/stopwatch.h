#pragma once

namespace verdanium {

// Wall-clock stopwatch on the monotonic clock. Times are seconds as 64-bit floats.
//
// start() throws std::runtime_error "cannot initialize Stopwatch" when the clock
// cannot be used, and std::logic_error "Stopwatch already running" when running;
// stop() throws std::logic_error "Stopwatch not running" when not running.
// elapsed() is the running time so far, or the time between the last start and
// stop; it assumes start() has been called at least once.
class Stopwatch {
public:
    void start();
    void stop();
    double elapsed() const;

    double startTime = 0.0; // clock seconds at the last start
    double stopTime = 0.0;  // clock seconds at the last stop
    bool running = false;
};

// The program's clock, owned by main and started before the window exists. Every
// input event is stamped with its elapsed seconds; null until main publishes it,
// and events made while it is null carry the time 0.
extern Stopwatch* gStopwatch;

} // namespace verdanium
