// The real program, started on a virtual display and driven from outside as a
// user would: close requests, keys and the mouse through xdotool, its title and
// standard output read back.

#include "app/program_session.h"

#include <gtest/gtest.h>

#include <string>

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

} // namespace
} // namespace verdanium
