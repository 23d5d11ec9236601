#include "tracer/task_scheduler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace verdanium {
namespace {

using Scheduler = TaskSchedulerStandard;

// What the jobs saw: runs per element, completions, and whether any ran on the submitting thread or on a
// thread index out of range.
struct Counters {
    explicit Counters(std::size_t elements) : runs(elements) {}
    std::vector<std::atomic<int>> runs;
    std::atomic<int> completions{0};
    std::atomic<bool> strayThread{false};
    std::thread::id caller = std::this_thread::get_id();
    std::uint64_t threadCount = 0;
};

void countRun(Scheduler::Thread& thread, void* argument, std::uint64_t element) {
    auto* counters = static_cast<Counters*>(argument);
    counters->runs[element].fetch_add(1);
    if (std::this_thread::get_id() == counters->caller || thread.index >= counters->threadCount)
        counters->strayThread = true;
}

void countCompletion(Scheduler::Thread&, void* argument) {
    static_cast<Counters*>(argument)->completions.fetch_add(1);
}

void expectEachRanOnce(const Counters& counters) {
    for (const auto& runs : counters.runs)
        ASSERT_EQ(runs.load(), 1);
}

// A job's exception reaching the waiting thread is the path tracer's test (a failing kernel on pool threads).
TEST(TaskScheduler, RunsEveryElementOnceOnWorkersAndCompletesEachTaskOnce) {
    Scheduler scheduler(3);
    // Several frames in a row: the pool must come back to sleep and wake again each time.
    for (int frame = 0; frame < 20; ++frame) {
        Counters first(100), second(5), empty(0);
        first.threadCount = second.threadCount = 3;
        Scheduler::Event event, emptyEvent;
        scheduler.lock();
        scheduler.addTask(&event, Scheduler::PositionFront, countRun, &first, 100, countCompletion, &first,
                          "first");
        scheduler.addTask(nullptr, Scheduler::PositionFront, countRun, &second, 5, nullptr, nullptr,
                          "second");
        scheduler.addTask(&emptyEvent, Scheduler::PositionBack, countRun, &empty, 0, countCompletion, &empty,
                          "empty");
        scheduler.waitAndUnlock();
        expectEachRanOnce(first);
        expectEachRanOnce(second);
        EXPECT_FALSE(first.strayThread || second.strayThread);
        EXPECT_TRUE(first.completions == 1 && empty.completions == 1);
        EXPECT_TRUE(event.done && emptyEvent.done);
    }
    const unsigned processors = std::thread::hardware_concurrency();
    EXPECT_EQ(gTaskScheduler.threadCount(), processors == 0 ? 1u : processors);
}

} // namespace
} // namespace verdanium
