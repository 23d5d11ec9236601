// The real program, started on a virtual display and driven from outside as a
// user would: close requests, keys and the mouse through xdotool, its title and
// standard output read back.

#include "app/program_session.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>

namespace verdanium {
namespace {

using namespace std::chrono_literals;
using testing::ProgramSession;

constexpr auto kStartTimeout = 60s; // the first scene loads before the first frame
constexpr auto kTimeout = 20s;
const char* const kFrameTitle = R"(\[\d+ ms\] )";

class ProgramEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        choice = testing::chooseDisplay();
        if (choice.name.empty())
            GTEST_SKIP() << "no X display: " << choice.whyNone;
        session = std::make_unique<ProgramSession>(choice.name);
        window = session->waitForWindow(kStartTimeout);
        ASSERT_NE(window, 0u) << "no window appeared; standard error:\n" << session->standardError();
        ASSERT_TRUE(session->waitForTitle(std::string(kFrameTitle) + "Renderer", kStartTimeout))
            << "no frame title; last title \"" << session->title() << "\"; standard error:\n"
            << session->standardError();
    }

    // Gives the window the keyboard focus, as clicking it would.
    void focus() { ASSERT_EQ(session->xdotool({"windowfocus", "--sync", std::to_string(window)}), 0); }

    void key(const std::string& keys) { ASSERT_EQ(session->xdotool({"key", "--delay", "50", keys}), 0); }

    void expectTitle(const std::string& settingName) {
        EXPECT_TRUE(session->waitForTitle(kFrameTitle + settingName, kTimeout))
            << "title stayed \"" << session->title() << "\"";
    }

    // Closes the program by a close request and expects a clean end.
    void closeAndExpectStatusZero() {
        session->sendCloseRequest();
        const auto status = session->waitForExit(kTimeout);
        ASSERT_TRUE(status.has_value()) << "the program did not end after a close request";
        EXPECT_EQ(*status, 0) << session->standardError();
        EXPECT_EQ(session->standardError().find("exception:"), std::string::npos) << session->standardError();
    }

    // Waits for a picture that is not all black and stays exactly the same over a
    // few frames: with no tracing threads, a scene that no longer changes keeps
    // showing its last sums, while every change restarts them to black.
    std::optional<ProgramSession::Picture> waitForStillPicture(std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        ProgramSession::Picture previous = session->screenshot();
        while (std::chrono::steady_clock::now() < deadline && session->running()) {
            std::this_thread::sleep_for(300ms);
            ProgramSession::Picture current = session->screenshot();
            if (current == previous && !isBlack(current))
                return current;
            previous = std::move(current);
        }
        return std::nullopt;
    }

    static bool isBlack(const ProgramSession::Picture& picture) {
        for (unsigned char channel : picture.rgb)
            if (channel != 0)
                return false;
        return true;
    }

    // Root mean square difference of two same-sized pictures, 0 to 1.
    static double difference(const ProgramSession::Picture& a, const ProgramSession::Picture& b) {
        if (a.rgb.size() != b.rgb.size() || a.rgb.empty())
            return 1.0;
        double sum = 0.0;
        for (std::size_t i = 0; i < a.rgb.size(); ++i) {
            const double d = (double(a.rgb[i]) - double(b.rgb[i])) / 255.0;
            sum += d * d;
        }
        return std::sqrt(sum / double(a.rgb.size()));
    }

    // Waits until the program has handled the press of this key for the given
    // time in the run (1 for the first press).
    void waitForKeyHandled(const std::string& name, int occurrence) {
        const std::string line = "handling KeyboardEvent " + name + " pressed\n";
        const auto count = [&] {
            const std::string output = session->standardOutput();
            int found = 0;
            for (auto at = output.find(line); at != std::string::npos; at = output.find(line, at + 1))
                ++found;
            return found;
        };
        const auto deadline = std::chrono::steady_clock::now() + kTimeout;
        while (count() < occurrence && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(50ms);
    }

    testing::DisplayChoice choice;
    std::unique_ptr<ProgramSession> session;
    unsigned long window = 0;
};

TEST_F(ProgramEndToEnd, CloseRequestEndsTheProgramWithStatusZero) {
    closeAndExpectStatusZero();
}

TEST_F(ProgramEndToEnd, TitleFollowsTheSelectedSettingAndKeysAreLogged) {
    focus();
    key("m");
    expectTitle("MaxDepth");
    key("n");
    expectTitle("SecondaryBounceCount");
    // "R" then "0" selects path tracing; the title names the setting, not its value.
    key("r");
    key("0");
    expectTitle("Renderer");
    closeAndExpectStatusZero();

    const std::string output = session->standardOutput();
    for (const char* line : {"handling KeyboardEvent M pressed\n", "handling KeyboardEvent M released\n",
                             "handling KeyboardEvent N pressed\n", "handling KeyboardEvent R pressed\n",
                             "handling KeyboardEvent 0 pressed\n", "handling KeyboardEvent 0 released\n"})
        EXPECT_NE(output.find(line), std::string::npos) << "missing: " << line << "in:\n" << output;
}

TEST_F(ProgramEndToEnd, ObjectCountZeroRebuildsTheSceneWithFourAsteroids) {
    focus();
    key("o");
    expectTitle("ObjectCount");
    key("0");
    closeAndExpectStatusZero();

    const std::string output = session->standardOutput();
    // The first scene, then the rebuild asked for by the keys.
    const std::string first = "recreating scene with 256 objects of radius 0.25 with 4 triangles each";
    const std::string rebuilt =
        "recreating scene with 4 objects of radius 2 with 4 triangles each (16 triangles in total)\n";
    const auto firstAt = output.find(first);
    const auto keyAt = output.find("handling KeyboardEvent 0 pressed\n");
    const auto rebuiltAt = output.find(rebuilt);
    ASSERT_NE(firstAt, std::string::npos) << output;
    ASSERT_NE(rebuiltAt, std::string::npos) << output;
    EXPECT_LT(firstAt, keyAt);
    EXPECT_LT(keyAt, rebuiltAt);
    EXPECT_NE(output.find("BVH update: ", rebuiltAt), std::string::npos) << output;
}

// In path tracing with no tracing threads the last sums are shown again and
// again, so the picture stands exactly still while nothing in the scene changes;
// any change restarts the sums, and the picture goes black. The flight lasts 20
// seconds; this test pauses it long before that.
TEST_F(ProgramEndToEnd, PauseStopsTheFlightAndTheMouseThenTurnsTheCamera) {
    focus();
    key("r");
    key("0");
    // A hybrid frame before the switch may last long enough for all the keys
    // below to be handled at once, and then no frame is ever traced. Keys sent
    // once this one is handled arrive after at least one traced frame.
    waitForKeyHandled("0", 1);
    key("Pause");
    waitForKeyHandled("pause", 1);
    // A frame traced after the pause holds samples that no step restarts; only
    // then may the tracing stop.
    const ProgramSession::Picture atPause = session->screenshot();
    bool tracedSince = false;
    for (int attempt = 0; attempt < 200 && !tracedSince; ++attempt) {
        std::this_thread::sleep_for(100ms);
        tracedSince = session->screenshot() != atPause;
    }
    ASSERT_TRUE(tracedSince) << "no frame was traced after \"pause\"";
    key("c");
    key("0");
    waitForKeyHandled("0", 2);
    // Well short of the 20 seconds after which the flight would stop by itself.
    const auto paused = waitForStillPicture(8s);
    ASSERT_TRUE(paused.has_value()) << "the picture never stood still after \"pause\"; title \""
                                    << session->title() << "\"; output:\n"
                                    << session->standardOutput();

    // Mouse motion while paused turns the camera, which restarts the picture.
    ASSERT_EQ(session->xdotool({"mousemove_relative", "--", "40", "0"}), 0);
    bool changed = false;
    for (int attempt = 0; attempt < 200 && !changed; ++attempt) {
        std::this_thread::sleep_for(100ms);
        changed = session->screenshot() != *paused;
    }
    ASSERT_TRUE(changed) << "mouse motion while paused did not change the picture";

    // Traced again, the turned view shows a different picture, and the turn stays.
    key("2");
    waitForKeyHandled("2", 1);
    std::this_thread::sleep_for(1s);
    key("0");
    waitForKeyHandled("0", 3);
    const auto turned = waitForStillPicture(kTimeout);
    ASSERT_TRUE(turned.has_value());
    // Two accumulations of one view differ by about 0.01; a turn of 0.4 radians
    // moves the whole picture (about 0.2).
    EXPECT_GT(difference(*paused, *turned), 0.08);
    closeAndExpectStatusZero();
}

} // namespace
} // namespace verdanium
