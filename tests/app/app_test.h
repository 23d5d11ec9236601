#pragma once

#include "app/key_commands.h"
#include "app/program_flags.h"
#include "platform/event.h"
#include "tracer/renderer.h"
#include "world/scene.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace verdanium::testing {

// A renderer that draws nothing and records every call as text ("setMaxDepth 4"),
// so that tests see which setting a command reached and with what value.
class RecordingRenderer : public Renderer {
public:
    void render(Scene&) override { calls.push_back("render"); }
    void setMaxDepth(std::uint64_t value) override { record("setMaxDepth", value); }
    void setSecondaryBounceCount(std::uint64_t value) override { record("setSecondaryBounceCount", value); }
    void setBidirectional(std::uint64_t value) override { record("setBidirectional", value); }
    void setRenderMode(std::uint32_t value) override { record("setRenderMode", value); }
    void setCpuThreads(std::uint64_t value) override { record("setCpuThreads", value); }
    void resize(std::uint32_t width, std::uint32_t height) override {
        calls.push_back("resize " + std::to_string(width) + " " + std::to_string(height));
    }
    void printGlInfo(std::ostream&) override {}

    std::vector<std::string> calls;

private:
    void record(const char* what, std::uint64_t value) {
        calls.push_back(std::string(what) + " " + std::to_string(value));
    }
};

// An empty scene and a recording renderer, with the program-wide flags and the
// event queue at their start values around each test, since every test in the
// executable shares them.
class AppTest : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    // A key's press or release as the window reports it.
    void press(const char* name, bool pressed = true) {
        KeyboardEvent key{};
        std::snprintf(key.name, sizeof key.name, "%s", name);
        key.pressed = pressed;
        handleKeyboardEvent(key, scene, renderer);
    }
    void release(const char* name) { press(name, false); }

    Scene scene{kEmptyScene};
    RecordingRenderer renderer;

private:
    static void reset() {
        gQuitRequested = false;
        gPaused = false;
        gCurrentSetting = 0;
        gEventQueue.clear();
    }
};

} // namespace verdanium::testing
