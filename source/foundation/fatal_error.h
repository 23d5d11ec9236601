#pragma once

namespace verdanium {

// Set by the first fatalError and never cleared; it picks the single reporter.
extern bool gFatalInProgress;
// Set just before the message box is shown. Nothing reads it.
extern bool gFatalMessageShown;

// Reports an unrecoverable condition and ends the process with exit code 1:
// the formatted text on standard output after a blank line, the other
// registered threads suspended, a modal "Fatal error" box when an X display is
// reachable, a trap when a debugger is attached, then std::_Exit(1).
//
// Returns only when another fatal report is already running (another thread,
// or a failure nested inside this report): that caller goes on without a
// report of its own.
[[gnu::format(printf, 1, 2)]] void fatalError(const char* format, ...);

} // namespace verdanium
