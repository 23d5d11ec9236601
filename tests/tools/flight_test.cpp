// verdanium-render --flight as a user runs it: alone and under mpirun, its files and videos read back.

#include "tool_run.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace verdanium {
namespace {

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class Flight : public TestFilesFixture {
protected:
    ToolRun run(const std::string& commandLine) { return runTool(commandLine, directory); }

    // A short flight: one second at 8 frames per second, small and with few passes.
    std::string render(const std::string& options, const std::string& size = "--width 64 --height 48") {
        return "./verdanium-render --flight 8 --until 1 " + size + " " + options;
    }

    // Two ranks, also on a one-core machine and as root (a container's usual user).
    static std::string mpirun(int ranks) {
        return "env OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 mpirun --oversubscribe -np " +
               std::to_string(ranks) + " ";
    }
};

TEST_F(Flight, NumberedFramesAreTheSameFromOneProcessAndFromTwoRanks) {
    const auto alone = directory / "alone", shared = directory / "shared";
    std::filesystem::create_directories(alone);
    std::filesystem::create_directories(shared);
    // One tracing thread: more threads share the generator in an order that scheduling decides.
    const std::string options = "--frames 2 --threads 1 --output ";
    const ToolRun one = run(render(options + (alone / "frame%04d.png").string()));
    ASSERT_EQ(one.status, 0) << one.errors;
    const ToolRun two = run(mpirun(2) + render(options + (shared / "frame%04d.png").string()));
    ASSERT_EQ(two.status, 0) << two.errors;
    // Each rank builds its own world (and logs the first), and rank 0 alone writes.
    EXPECT_EQ(countOf(two.output, "recreating scene"), 2u) << two.output;
    EXPECT_EQ(countOf(two.output, "wrote "), 1u) << two.output;

    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(alone), {}), 8);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(shared), {}), 8);
    for (const char* name : {"frame0000.png", "frame0001.png", "frame0004.png", "frame0007.png"}) {
        const std::string picture = readFile(alone / name);
        ASSERT_FALSE(picture.empty()) << name;
        EXPECT_EQ(picture, readFile(shared / name)) << name;
    }
    EXPECT_NE(readFile(alone / "frame0000.png"), readFile(alone / "frame0007.png")) << "the flight moves";
}

TEST_F(Flight, FrameShowsTheFlightAtItsTime) {
    // The fixed raster draws no samples, so frame 4 of 8 per second is the picture at half a second, here in
    // linear light as OpenEXR.
    const std::string still = (directory / "still.exr").string();
    const ToolRun picture = run("./verdanium-render --mode 1 --time 0.5 --width 64 --height 48 --output " +
                                (directory / "still.png").string() + " --exr " + still);
    ASSERT_EQ(picture.status, 0) << picture.errors;
    const ToolRun flight = run(render("--mode 1 --output " + (directory / "f%d.exr").string()));
    ASSERT_EQ(flight.status, 0) << flight.errors;
    ASSERT_FALSE(readFile(still).empty());
    EXPECT_EQ(readFile(directory / "f4.exr"), readFile(still));
    EXPECT_NE(readFile(directory / "f3.exr"), readFile(still));
}

TEST_F(Flight, VideoHoldsEveryFrameAtTheFrameRate) {
    // The ranks deliver their frames to one writer; the container follows the name.
    for (const std::string& launch : {mpirun(2), std::string()}) {
        const char* name = launch.empty() ? "flight.mkv" : "flight.mp4";
        const std::string video = (directory / name).string();
        const ToolRun made = run(launch + render("--mode 1 --output " + video));
        ASSERT_EQ(made.status, 0) << made.errors;
        const ToolRun probe =
            run("ffprobe -v error -select_streams v:0 -count_frames -show_entries "
                "stream=nb_read_frames,r_frame_rate,pix_fmt,width -of default=noprint_wrappers=1 " +
                video);
        ASSERT_EQ(probe.status, 0) << probe.errors;
        EXPECT_EQ(probe.output, "width=64\npix_fmt=yuv420p\nr_frame_rate=8/1\nnb_read_frames=8\n") << name;
    }
}

TEST_F(Flight, OutputThatCannotBeWrittenIsRefusedBeforeRendering) {
    const std::string missing = (directory / "no such folder").string();
    const struct {
        std::string options;
        std::string message;
        std::string size = "--width 64 --height 48";
    } cases[] = {
        {"--output '" + missing + "/flight.mp4'", "cannot write " + missing + "/flight.mp4"},
        {"--output '" + missing + "/frame%03d.png'", "cannot write " + missing + "/frame000.png"},
        {"--output " + (directory / "odd.mp4").string(), "even width and height", "--width 63 --height 48"},
    };
    for (const auto& refused : cases) {
        // Under mpirun every rank must stop, not only the one that writes.
        const ToolRun result =
            run((&refused == cases ? mpirun(2) : "") + render(refused.options, refused.size));
        EXPECT_NE(result.status, 0) << refused.options;
        EXPECT_NE(result.errors.find(refused.message), std::string::npos) << result.errors;
        EXPECT_EQ(result.output.find("recreating scene"), std::string::npos) << "rendered: " << result.output;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 2) << "only the run's logs";
}

} // namespace
} // namespace verdanium
