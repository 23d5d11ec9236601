#include "command_line.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string>

namespace verdanium {

void prepareToolApp(CLI::App& app) {
    app.option_defaults()->always_capture_default();
}

CLI::Validator wholeNumber(std::uint64_t least, std::uint64_t most) {
    const std::string range = "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    return CLI::Validator(
        [=](const std::string& text) -> std::string {
            const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
            errno = 0;
            const unsigned long long value = digits ? std::strtoull(text.c_str(), nullptr, 10) : 0;
            if (!digits || errno == ERANGE || value < least || value > most) {
                return range + " is needed, not \"" + text + "\"";
            }
            return {};
        },
        most == std::numeric_limits<std::uint64_t>::max()
            ? ">=" + std::to_string(least)
            : "in [" + std::to_string(least) + " - " + std::to_string(most) + "]");
}

CLI::Validator finiteNumber(double least) {
    const std::string bound = CLI::detail::to_string(least);
    return CLI::Validator(
        [=](const std::string& text) -> std::string {
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0' || !std::isfinite(value) || value < least) {
                return "a finite number of at least " + bound + " is needed, not \"" + text + "\"";
            }
            return {};
        },
        ">=" + bound);
}

std::optional<int> parseCommandLine(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return 0;
    } catch (const CLI::ParseError& error) {
        // CLI11's own messages name the option and the value; its exit codes are its own, ours is one.
        std::cerr << app.get_name() << ": " << error.what() << "\nRun " << app.get_name()
                  << " --help for the options.\n";
        return kUsageErrorStatus;
    }
    return std::nullopt;
}

} // namespace verdanium
