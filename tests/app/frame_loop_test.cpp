#include "app/fixed_steps.h"
#include "app/frame_loop.h"
#include "app/stopwatch.h"

#include "app/app_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace verdanium {
namespace {

TEST(FixedSteps, CatchUpInStepsOfOneHundredthWithTheClockReadBeforeEach) {
    // Equal times run no step.
    double simulated = 0.25;
    EXPECT_EQ(runFixedSteps(
                  simulated, [] { return 0.25; }, [](double) { FAIL(); }),
              0u);

    // A two-second stall runs about 200 steps, never scaled and never capped;
    // sums of 0.01 are not exact, so the last may land just short of 2.
    simulated = 0.0;
    const auto stallSteps = runFixedSteps(
        simulated, [] { return 2.0; }, [](double step) { ASSERT_EQ(step, 0.01); });
    EXPECT_GE(stallSteps, 200u);
    EXPECT_LE(stallSteps, 201u);

    // Steps that take 0.004 s of the clock each are caught up too: 0.1 s of lag
    // needs 0.1 / (0.01 - 0.004) steps, not 10.
    double clock = 0.1;
    simulated = 0.0;
    const auto slowSteps = runFixedSteps(
        simulated, [&] { return clock; }, [&](double) { clock += 0.004; });
    EXPECT_GE(slowSteps, 16u);
    EXPECT_LE(slowSteps, 17u);
    EXPECT_GE(simulated, clock);
}

class FrameLoopTest : public testing::AppTest {
protected:
    double clock = 0.0;
    std::chrono::milliseconds readingTime{0}; // how long each reading of the clock takes
    std::vector<std::string> titles;
    FrameLoop loop{renderer, scene,
                   [this] {
                       std::this_thread::sleep_for(readingTime);
                       return clock;
                   },
                   [this](const std::string& title) { titles.push_back(title); }};
};

TEST_F(FrameLoopTest, FrameRendersDrainsEventsStepsAndWritesTheTitleEveryTime) {
    Event resize{};
    resize.kind = EventKindResize;
    resize.resize = {800, 600};
    gEventQueue.push_back(resize);
    clock = 0.035;
    EXPECT_EQ(loop.runFrame(), 4u);
    EXPECT_EQ(renderer.calls, (std::vector<std::string>{"render", "resize 800 600"}));
    EXPECT_TRUE(gEventQueue.empty());
    EXPECT_NEAR(scene.time, 0.04f, 1e-6f);

    gCurrentSetting = 6;
    EXPECT_EQ(loop.runFrame(), 0u);
    ASSERT_EQ(titles.size(), 2u);
    EXPECT_TRUE(titles[0].starts_with("[")) << titles[0];
    EXPECT_TRUE(titles[0].ends_with(" ms] Renderer")) << titles[0];
    EXPECT_TRUE(titles[1].ends_with(" ms] SecondaryBounceCount")) << titles[1];
}

TEST_F(FrameLoopTest, TheTitlesFigureCoversTheFixedSteps) {
    // Two steps read the clock three times, 25 ms each: at least 75 ms go into the figure.
    readingTime = std::chrono::milliseconds(25);
    clock = 0.015;
    EXPECT_EQ(loop.runFrame(), 2u);
    ASSERT_EQ(titles.size(), 1u);
    const int figure = std::stoi(titles[0].substr(1));
    EXPECT_GE(figure, 75) << titles[0];
    EXPECT_LT(figure, 1000) << titles[0];
}

TEST(Stopwatch, RefusesMisuseWithItsTextsAndHoldsTheTimeOnceStopped) {
    Stopwatch watch;
    EXPECT_THAT([&] { watch.stop(); },
                ::testing::ThrowsMessage<std::logic_error>(::testing::StrEq("Stopwatch not running")));
    watch.start();
    const double started = watch.startTime;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_THAT([&] { watch.start(); },
                ::testing::ThrowsMessage<std::logic_error>(::testing::StrEq("Stopwatch already running")));
    EXPECT_EQ(watch.startTime, started);
    const double running = watch.elapsed();
    EXPECT_GE(running, 0.02);
    watch.stop();
    const double stopped = watch.elapsed();
    EXPECT_GE(stopped, running);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(watch.elapsed(), stopped);
    EXPECT_LT(stopped, 1.0);
}

} // namespace
} // namespace verdanium
