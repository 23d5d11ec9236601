#include "tracer/task_scheduler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace verdanium {
namespace {

struct Counters {
    std::vector<std::atomic<int>> runs;
    std::atomic<int> completions{0};
    std::atomic<std::uint64_t> maximumThreadIndex{0};
    explicit Counters(std::size_t elements) : runs(elements) {}
};

void countRun(TaskSchedulerStandard::Thread& thread, void* argument, std::uint64_t element) {
    auto* counters = static_cast<Counters*>(argument);
    counters->runs[element].fetch_add(1);
    std::uint64_t seen = counters->maximumThreadIndex.load();
    while (thread.index > seen && !counters->maximumThreadIndex.compare_exchange_weak(seen, thread.index)) {
    }
}

void countCompletion(TaskSchedulerStandard::Thread&, void* argument) {
    static_cast<Counters*>(argument)->completions.fetch_add(1);
}

void throwOnSeven(TaskSchedulerStandard::Thread&, void*, std::uint64_t element) {
    if (element == 7) {
        throw std::domain_error("element not invertible");
    }
}

void runOnCallerThreadCheck(TaskSchedulerStandard::Thread&, void* argument, std::uint64_t) {
    auto* callerId = static_cast<std::thread::id*>(argument);
    if (std::this_thread::get_id() == *callerId) {
        throw std::logic_error("ran on the submitting thread");
    }
}

TEST(TaskScheduler, RunsEveryElementOnceAndCompletesEachTaskOnce) {
    TaskSchedulerStandard scheduler(3);
    EXPECT_EQ(scheduler.threadCount(), 3u);
    // Several frames in a row: the pool must come back to sleep and wake again each time.
    for (int frame = 0; frame < 20; ++frame) {
        Counters first(100), second(5);
        TaskSchedulerStandard::Event event;
        scheduler.lock();
        scheduler.addTask(&event, TaskSchedulerStandard::PositionFront, countRun, &first, 100,
                          countCompletion, &first, "first");
        scheduler.addTask(nullptr, TaskSchedulerStandard::PositionFront, countRun, &second, 5, nullptr,
                          nullptr, "second");
        scheduler.waitAndUnlock();
        for (auto& runs : first.runs) {
            ASSERT_EQ(runs.load(), 1);
        }
        for (auto& runs : second.runs) {
            ASSERT_EQ(runs.load(), 1);
        }
        EXPECT_EQ(first.completions.load(), 1);
        EXPECT_TRUE(event.done.load());
        EXPECT_LT(first.maximumThreadIndex.load(), 3u);
    }
}

TEST(TaskScheduler, RunsOnWorkersOnly) {
    TaskSchedulerStandard scheduler(2);
    std::thread::id caller = std::this_thread::get_id();
    scheduler.lock();
    scheduler.addTask(nullptr, TaskSchedulerStandard::PositionFront, runOnCallerThreadCheck, &caller, 64,
                      nullptr, nullptr, "workers only");
    EXPECT_NO_THROW(scheduler.waitAndUnlock());
}

TEST(TaskScheduler, CarriesAJobExceptionToTheWaitingThreadAndStaysUsable) {
    TaskSchedulerStandard scheduler(2);
    scheduler.lock();
    scheduler.addTask(nullptr, TaskSchedulerStandard::PositionFront, throwOnSeven, nullptr, 16, nullptr,
                      nullptr, "failing");
    try {
        scheduler.waitAndUnlock();
        FAIL() << "the job's exception was lost";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "element not invertible");
    }

    // The failure is reported once, and the next submission runs normally.
    Counters counters(8);
    scheduler.lock();
    scheduler.addTask(nullptr, TaskSchedulerStandard::PositionFront, countRun, &counters, 8, nullptr, nullptr,
                      "after failure");
    EXPECT_NO_THROW(scheduler.waitAndUnlock());
    for (auto& runs : counters.runs) {
        EXPECT_EQ(runs.load(), 1);
    }
}

TEST(TaskScheduler, EmptyTaskCompletesAtOnce) {
    TaskSchedulerStandard scheduler(2);
    Counters counters(0);
    TaskSchedulerStandard::Event event;
    scheduler.lock();
    scheduler.addTask(&event, TaskSchedulerStandard::PositionBack, countRun, &counters, 0, countCompletion,
                      &counters, "empty");
    scheduler.waitAndUnlock();
    EXPECT_EQ(counters.completions.load(), 1);
    EXPECT_TRUE(event.done.load());
}

TEST(TaskScheduler, RefusesTasksWithoutTheLock) {
    TaskSchedulerStandard scheduler(1);
    Counters counters(1);
    EXPECT_THROW(scheduler.addTask(nullptr, TaskSchedulerStandard::PositionFront, countRun, &counters, 1,
                                   nullptr, nullptr, "unlocked"),
                 std::logic_error);
    EXPECT_THROW(scheduler.waitAndUnlock(), std::logic_error);
}

TEST(TaskScheduler, GlobalPoolHasOneWorkerPerLogicalProcessor) {
    unsigned processors = std::thread::hardware_concurrency();
    EXPECT_EQ(gTaskScheduler.threadCount(), processors == 0 ? 1u : processors);
}

} // namespace
} // namespace verdanium
