#include "app/fixed_steps.h"
#include "app/frame_loop.h"
#include "app/program_state.h"
#include "app/recording_renderer.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace verdanium {
namespace {

using testing::RecordingRenderer;

TEST(FixedSteps, EqualTimesRunNoStep) {
    double simulated = 0.25;
    int steps = 0;
    EXPECT_EQ(runFixedSteps(
                  simulated, [] { return 0.25; }, [&](double) { ++steps; }),
              0u);
    EXPECT_EQ(steps, 0);
    EXPECT_EQ(simulated, 0.25);
}

TEST(FixedSteps, TwoSecondStallRunsAboutTwoHundredStepsOfOneHundredth) {
    double simulated = 0.0;
    std::vector<double> stepSizes;
    const auto steps = runFixedSteps(
        simulated, [] { return 2.0; }, [&](double step) { stepSizes.push_back(step); });
    // Sums of 0.01 are not exact, so the last step may land just short of 2.
    EXPECT_GE(steps, 200u);
    EXPECT_LE(steps, 201u);
    EXPECT_EQ(stepSizes.size(), steps);
    for (double step : stepSizes)
        ASSERT_EQ(step, 0.01); // never scaled, never capped
    EXPECT_GE(simulated, 2.0);
}

TEST(FixedSteps, ClockIsReadBeforeEveryStepSoSlowStepsAreCaughtUp) {
    // Each step takes 0.004 s of the clock's time: the steps themselves must be
    // caught up too, so 0.1 s of lag needs 0.1 / (0.01 - 0.004) steps, not 10.
    double clock = 0.1;
    double simulated = 0.0;
    int reads = 0;
    const auto steps = runFixedSteps(
        simulated,
        [&] {
            ++reads;
            return clock;
        },
        [&](double) { clock += 0.004; });
    EXPECT_GE(steps, 16u);
    EXPECT_LE(steps, 17u);
    EXPECT_EQ(reads, static_cast<int>(steps) + 1);
    EXPECT_GE(simulated, clock);
}

class FrameLoopTest : public testing::ProgramStateTest {
protected:
    RecordingRenderer renderer;
    Scene scene{kEmptyScene};
    double clock = 0.0;
    std::vector<std::string> titles;
    FrameLoop loop{renderer, scene, [this] { return clock; },
                   [this](const std::string& title) { titles.push_back(title); }};
};

TEST_F(FrameLoopTest, FrameRendersDrainsEventsStepsAndWritesTitle) {
    Event resize{};
    resize.kind = EventKindResize;
    resize.resize = {800, 600};
    gEventQueue.push_back(resize);
    clock = 0.035;

    EXPECT_EQ(loop.runFrame(), 4u);
    EXPECT_EQ(renderer.calls, (std::vector<std::string>{"render", "resize 800 600"}));
    EXPECT_TRUE(gEventQueue.empty());
    EXPECT_NEAR(scene.time, 0.04f, 1e-6f);
    ASSERT_EQ(titles.size(), 1u);
    EXPECT_TRUE(titles[0].starts_with("[")) << titles[0];
    EXPECT_TRUE(titles[0].ends_with(" ms] Renderer")) << titles[0];

    // The title is written every frame, also when no step runs.
    EXPECT_EQ(loop.runFrame(), 0u);
    EXPECT_EQ(titles.size(), 2u);
}

TEST_F(FrameLoopTest, CloseRequestDuringRenderStillFinishesTheFrame) {
    renderer.onRender = [] { gQuitRequested = true; };
    Event key{};
    key.kind = EventKindKey;
    std::snprintf(key.keyboard.name, sizeof key.keyboard.name, "%s", "M");
    key.keyboard.pressed = true;
    gEventQueue.push_back(key);
    clock = 0.02;

    loop.run();
    EXPECT_EQ(renderer.calls, std::vector<std::string>{"render"}); // one frame only
    EXPECT_EQ(gCurrentSetting, 7);                                 // its events were handled,
    EXPECT_GE(loop.simulatedTime(), 0.02);                         // its steps run
    ASSERT_EQ(titles.size(), 1u);                                  // and its title written
    EXPECT_TRUE(titles[0].ends_with(" ms] MaxDepth")) << titles[0];
}

TEST(FrameTitle, NamesTheCurrentSetting) {
    const std::int32_t saved = gCurrentSetting;
    gCurrentSetting = 6;
    EXPECT_EQ(frameTitle(41), "[41 ms] SecondaryBounceCount");
    gCurrentSetting = 0;
    EXPECT_EQ(frameTitle(0), "[0 ms] Renderer");
    gCurrentSetting = saved;
}

} // namespace
} // namespace verdanium
