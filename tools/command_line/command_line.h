#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <limits>
#include <optional>

namespace verdanium {

// The exit status of a tool given a command line it cannot run with.
inline constexpr int kUsageErrorStatus = 2;

// Sets up a tool's CLI11 application the same way for all tools: every option added after this call shows
// its default in --help.
void prepareToolApp(CLI::App& app);

// A check for an option: a whole number from `least` to `most`, digits only. CLI11's own range check converts
// first, and an unsigned conversion wraps "-1" around to a huge count.
CLI::Validator wholeNumber(std::uint64_t least = 0,
                           std::uint64_t most = std::numeric_limits<std::uint64_t>::max());

// A check for an option: a finite number of at least `least` ("inf" and "nan" are refused).
CLI::Validator finiteNumber(double least);

// Parses `argv` into the options added to `app`. Returns nothing when the tool should go on; otherwise the
// status to exit with: 0 after --help has been printed to standard output, kUsageErrorStatus after an
// unknown option, a bad value or a number out of range has been named on standard error.
std::optional<int> parseCommandLine(CLI::App& app, int argc, char** argv);

} // namespace verdanium
