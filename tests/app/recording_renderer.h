#pragma once

#include "tracer/renderer.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace verdanium::testing {

// A renderer that draws nothing and records every call as text ("setMaxDepth 4"),
// so that tests can see which setting a command reached and with what value.
class RecordingRenderer : public Renderer {
public:
    void render(Scene&) override {
        calls.push_back("render");
        if (onRender)
            onRender();
    }
    void setMaxDepth(std::uint64_t value) override { record("setMaxDepth", value); }
    void setSecondaryBounceCount(std::uint64_t value) override { record("setSecondaryBounceCount", value); }
    void setBidirectional(std::uint64_t value) override { record("setBidirectional", value); }
    void setRenderMode(std::uint32_t value) override { record("setRenderMode", value); }
    void setCpuThreads(std::uint64_t value) override { record("setCpuThreads", value); }
    void resize(std::uint32_t width, std::uint32_t height) override {
        calls.push_back("resize " + std::to_string(width) + " " + std::to_string(height));
    }
    void printGlInfo(std::ostream&) override { calls.push_back("printGlInfo"); }

    std::vector<std::string> calls;
    // Runs inside render, where the window pumps its messages.
    void (*onRender)() = nullptr;

private:
    void record(const char* what, std::uint64_t value) {
        calls.push_back(std::string(what) + " " + std::to_string(value));
    }
};

} // namespace verdanium::testing
