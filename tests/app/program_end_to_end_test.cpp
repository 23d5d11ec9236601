// The real program, started on a virtual display and driven from outside as a
// user would: close requests, keys and the mouse through xdotool, its title and
// standard output read back.

#include "app/program_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <thread>

namespace verdanium {
namespace {

using namespace std::chrono_literals;
using Picture = std::vector<unsigned char>;

constexpr auto kStartTimeout = 60s; // the first scene loads before the first frame
constexpr auto kTimeout = 20s;
const std::string kFrameTitle = R"(\[\d+ ms\] )";

class ProgramEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        if (display.name().empty())
            GTEST_SKIP() << "no X display";
        session = std::make_unique<testing::ProgramSession>(display.name());
        ASSERT_TRUE(session->waitForWindow(kStartTimeout)) << "no window; standard error:\n"
                                                           << session->standardError();
        ASSERT_TRUE(session->waitForTitle(kFrameTitle + "Renderer", kStartTimeout))
            << "no frame title; last title \"" << session->title() << "\"; standard error:\n"
            << session->standardError();
        // Gives the window the keyboard focus, as clicking it would.
        ASSERT_TRUE(session->xdotool("windowfocus --sync " + std::to_string(session->window)));
    }

    void key(const std::string& keys) { ASSERT_TRUE(session->xdotool("key --delay 50 " + keys)); }

    void expectTitle(const std::string& settingName) {
        EXPECT_TRUE(session->waitForTitle(kFrameTitle + settingName, kTimeout))
            << "title stayed \"" << session->title() << "\"";
    }

    // Closes the program by a close request and expects a clean end; every test ends this way.
    void closeAndExpectStatusZero() {
        session->sendCloseRequest();
        const auto status = session->waitForExit(kTimeout);
        ASSERT_TRUE(status.has_value()) << "the program did not end after a close request";
        EXPECT_EQ(*status, 0) << session->standardError();
        EXPECT_EQ(session->standardError().find("exception:"), std::string::npos) << session->standardError();
    }

    // Waits until the program has handled a press of this key for the given
    // time in the run (1 for the first press).
    void waitForKeyHandled(const std::string& name, int occurrence) {
        const std::string line = "handling KeyboardEvent " + name + " pressed\n";
        for (const auto deadline = std::chrono::steady_clock::now() + kTimeout;
             std::chrono::steady_clock::now() < deadline; std::this_thread::sleep_for(50ms)) {
            const std::string output = session->standardOutput();
            int found = 0;
            for (auto at = output.find(line); at != std::string::npos; at = output.find(line, at + 1))
                ++found;
            if (found >= occurrence)
                return;
        }
    }

    // Waits until the picture changes from `from`, or, without it, until a picture
    // that is not all black stays exactly the same over a few frames: with no
    // tracing threads the last sums are shown again and again while nothing in
    // the scene changes, and any change restarts them to black.
    std::optional<Picture> waitForPicture(std::chrono::milliseconds timeout, const Picture* from = nullptr) {
        Picture previous = session->screenshot();
        for (const auto deadline = std::chrono::steady_clock::now() + timeout;
             std::chrono::steady_clock::now() < deadline && session->running();) {
            std::this_thread::sleep_for(from ? 100ms : 300ms);
            Picture current = session->screenshot();
            const bool black =
                std::all_of(current.begin(), current.end(), [](unsigned char c) { return c == 0; });
            if (from ? current != *from : current == previous && !black)
                return current;
            previous = std::move(current);
        }
        return std::nullopt;
    }

    testing::VirtualDisplay display;
    std::unique_ptr<testing::ProgramSession> session;
};

TEST_F(ProgramEndToEnd, KeysSelectTheTitlesSettingAndRebuildTheSceneWithOneValueReplaced) {
    key("m");
    expectTitle("MaxDepth");
    key("o 0 t 1 l 2");
    expectTitle("LeafSize");
    // "R" then "0" selects path tracing; the title names the setting, not its value.
    key("r 0");
    expectTitle("Renderer");
    waitForKeyHandled("0", 2);
    closeAndExpectStatusZero();

    // The first scene, then one rebuild per digit, each keeping the other values.
    const char* const rebuilt =
        "recreating scene with 4 objects of radius 2 with 16 triangles each (64 triangles in total)\n";
    const std::string output = session->standardOutput();
    std::size_t at = 0;
    for (const char* line : {
             "recreating scene with 256 objects of radius 0.25 with 4 triangles each",
             "handling KeyboardEvent M released\n",
             "handling KeyboardEvent 0 pressed\n",
             "recreating scene with 4 objects of radius 2 with 4 triangles each (16 triangles in total)\nBVH "
             "update: ",
             rebuilt,
             rebuilt,
             "handling KeyboardEvent R pressed\n",
         }) {
        at = output.find(line, at);
        ASSERT_NE(at, std::string::npos) << "missing, or out of order: " << line << "\nin:\n" << output;
        ++at;
    }
}

// The flight lasts 20 seconds; this test pauses it long before that.
TEST_F(ProgramEndToEnd, PauseStopsTheFlightAndTheMouseThenTurnsTheCamera) {
    // A hybrid frame before the switch may last long enough for all the keys
    // below to be handled at once, and then no frame is ever traced. Keys sent
    // once this one is handled arrive after at least one traced frame.
    key("r 0");
    waitForKeyHandled("0", 1);
    key("Pause");
    waitForKeyHandled("pause", 1);
    // A frame traced after the pause holds samples that no step restarts; only
    // then may the tracing stop.
    const Picture atPause = session->screenshot();
    ASSERT_TRUE(waitForPicture(kTimeout, &atPause)) << "no frame was traced after \"pause\"";
    key("c 0");
    waitForKeyHandled("0", 2);
    const auto paused = waitForPicture(8s);
    ASSERT_TRUE(paused) << "the picture never stood still after \"pause\"; output:\n"
                        << session->standardOutput();

    // Mouse motion while paused turns the camera, which restarts the picture.
    ASSERT_TRUE(session->xdotool("mousemove_relative -- 40 0"));
    ASSERT_TRUE(waitForPicture(kTimeout, &*paused)) << "mouse motion while paused did not change the picture";

    // Traced again, the turned view shows a different picture, and the turn stays.
    key("2");
    waitForKeyHandled("2", 1);
    std::this_thread::sleep_for(1s);
    key("0");
    waitForKeyHandled("0", 3);
    const auto turned = waitForPicture(kTimeout);
    ASSERT_TRUE(turned);
    ASSERT_EQ(turned->size(), paused->size());
    // Two accumulations of one view differ by about 0.01 in root mean square; a
    // turn of 0.4 radians moves the whole picture (about 0.2).
    double sum = 0.0;
    for (std::size_t i = 0; i < paused->size(); ++i)
        sum += std::pow((double((*paused)[i]) - double((*turned)[i])) / 255.0, 2);
    EXPECT_GT(std::sqrt(sum / double(paused->size())), 0.08);
    closeAndExpectStatusZero();
}

// Without a display the window cannot be made: main's handler reports the exception and ends with status 1.
TEST(ProgramEntry, AFailureAtStartEndsThroughMainsHandlerWithStatusOne) {
    testing::ProgramSession session(":987"); // no server answers there
    const auto status = session.waitForExit(kTimeout);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, 1);
    EXPECT_EQ(session.standardError(), "exception: failed to register the window class\n");
    EXPECT_EQ(session.standardOutput(), "");
}

} // namespace
} // namespace verdanium
