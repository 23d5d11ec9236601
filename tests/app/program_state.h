#pragma once

#include "app/program_flags.h"
#include "platform/event.h"

#include <gtest/gtest.h>

namespace verdanium::testing {

// Puts the program-wide flags and the event queue back to their start values
// around each test, since every test in the executable shares them.
class ProgramStateTest : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

private:
    static void reset() {
        gQuitRequested = false;
        gPaused = false;
        gCurrentSetting = 0;
        gEventQueue.clear();
    }
};

} // namespace verdanium::testing
