#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace verdanium {

// The worker pool that runs the renderer's jobs.
//
// Contract:
// - One submission at a time: `lock`, any number of `addTask`, then `waitAndUnlock`, all on one thread.
// - A task is a run function called once per element, on the pool's workers only; the submitting thread
//   sleeps in `waitAndUnlock` and does not help.
// - Workers sleep on a condition variable whenever no element is left: they never spin between frames.
// - The first exception thrown by a run or completion function is caught on the worker and re-thrown from
//   `waitAndUnlock` on the submitting thread, after every element has finished and the pool is unlocked.
//   The remaining elements of a failed task are skipped.
// - Workers start on the first `lock`, so a program that never submits work never starts a thread.
class TaskSchedulerStandard {
public:
    // What a worker knows about itself; handed to every run and completion function.
    struct Thread {
        std::uint64_t index = 0;
    };

    // Set to true once every element of its task has finished (successfully or not).
    struct Event {
        std::atomic<bool> done{false};
    };

    // Where `addTask` puts a task among those already queued. Workers always take elements of the task at the
    // front first.
    enum Position : std::uint32_t { PositionFront = 0, PositionBack = 1 };

    using RunFunction = void (*)(Thread& thread, void* argument, std::uint64_t element);
    using CompletionFunction = void (*)(Thread& thread, void* argument);

    // threadCount 0 means one worker per logical processor.
    explicit TaskSchedulerStandard(std::uint64_t threadCount = 0);
    ~TaskSchedulerStandard();

    TaskSchedulerStandard(const TaskSchedulerStandard&) = delete;
    TaskSchedulerStandard& operator=(const TaskSchedulerStandard&) = delete;

    void lock();
    std::uint64_t threadCount() const { return workerCount; }
    // `event` and `completion` may be null. `name` must outlive the task (a literal in practice).
    void addTask(Event* event, Position position, RunFunction run, void* argument, std::uint64_t elementCount,
                 CompletionFunction completion, void* completionArgument, const char* name);
    void waitAndUnlock();

private:
    struct Task {
        Task* next = nullptr;
        Event* event = nullptr;
        RunFunction run = nullptr;
        void* argument = nullptr;
        CompletionFunction completion = nullptr;
        void* completionArgument = nullptr;
        const char* name = nullptr;
        std::uint64_t elementCount = 0;
        std::uint64_t nextElement = 0;
        std::uint64_t finishedElements = 0;
        bool failed = false;
    };

    void startWorkers();
    void workerLoop(std::uint64_t index);
    Task* takeTask();
    void recycle(Task* task);
    void finishTask(Task* task, Thread& thread, std::unique_lock<std::mutex>& guard);
    void unlink(Task* task);

    const std::uint64_t workerCount;

    // Held from `lock` to `waitAndUnlock`; separate from `mutex` so that workers never wait on a submitter.
    std::mutex submissionMutex;
    std::thread::id submitter;
    bool locked = false;

    std::mutex mutex;
    std::condition_variable workAvailable;
    std::condition_variable allFinished;
    Task* queue = nullptr;
    // Finished task records are kept for reuse: after the first frame a submission allocates nothing.
    Task* freeTasks = nullptr;
    std::vector<Task*> ownedTasks;
    std::uint64_t unfinishedTasks = 0;
    std::exception_ptr failure;
    bool stopping = false;
    std::vector<std::thread> workers;
};

// The program's one pool, one worker per logical processor. Its workers start with the first submission.
extern TaskSchedulerStandard gTaskScheduler;

} // namespace verdanium
