// The tools' command lines as a user meets them: --help, and the refusals of bad input before any work.
#include "tool_run.h"

#include <gtest/gtest.h>

namespace verdanium {
namespace {

using ToolOptions = TestFilesFixture;

TEST_F(ToolOptions, HelpListsEveryOptionWithItsDefault) {
    const ToolRun run = runTool("./verdanium-render --help", directory);
    EXPECT_EQ(run.status, 0);
    for (const char* option : {"--mode", "--time", "--frames", "--intersector", "--depth", "--bounces",
                               "--threads", "--width", "--height", "--output", "--exr", "--reference",
                               "--convergence", "--max-seconds", "--flight", "--until"}) {
        const std::size_t at = run.output.find(std::string("  ") + option + " ");
        ASSERT_NE(at, std::string::npos) << option;
        const std::string entry = run.output.substr(at, run.output.find("  --", at + 2) - at);
        EXPECT_TRUE(entry.find('=') != std::string::npos ||
                    entry.find("none by default") != std::string::npos)
            << entry;
    }
}

// Each exits with status 2 before any work (building the scene prints to standard output), naming what is
// wrong on standard error.
TEST_F(ToolOptions, BadCommandLinesAreRefusedByName) {
    const struct {
        const char* arguments;
        const char* named;
    } cases[] = {
        {"verdanium-render --bogus 1", "--bogus"},
        {"verdanium-render --mode 4", "--mode"},
        {"verdanium-render --frames 0", "--frames"},
        {"verdanium-render --frames -1", "\"-1\""},
        {"verdanium-render --threads 18446744073709551616", "--threads"},
        {"verdanium-render --time nan", "\"nan\""},
        {"verdanium-render --output", "--output"},
        {"verdanium-render --flight 8 --time 2 --until 2", "--until"},
        {"verdanium-render --flight 8 --output flight.avi", "flight.avi"},
        {"verdanium-render --reference missing.exr", "missing.exr"},
        {"verdanium-render --convergence run.csv", "--reference"},
        {"verdanium-bench everything", "everything"},
        {"bvh_bench 0", "rays"},
        {"verdanium-datagen", "DATA_FOLDER"},
    };
    for (const auto& c : cases) {
        const ToolRun run = runTool("./" + std::string(c.arguments), directory, 20);
        SCOPED_TRACE(c.arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_NE(run.errors.find(c.named), std::string::npos) << run.errors;
    }
}

} // namespace
} // namespace verdanium
