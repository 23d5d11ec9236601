#include "tracer/task_scheduler.h"

#include <stdexcept>

namespace verdanium {

TaskSchedulerStandard gTaskScheduler;

namespace {

std::uint64_t logicalProcessorCount() {
    unsigned count = std::thread::hardware_concurrency();
    return count == 0 ? 1 : count;
}

} // namespace

TaskSchedulerStandard::TaskSchedulerStandard(std::uint64_t threadCount)
    : workerCount(threadCount == 0 ? logicalProcessorCount() : threadCount) {}

TaskSchedulerStandard::~TaskSchedulerStandard() {
    {
        std::lock_guard<std::mutex> guard(mutex);
        stopping = true;
    }
    workAvailable.notify_all();
    for (std::thread& worker : workers) {
        worker.join();
    }
    for (Task* task : ownedTasks) {
        delete task;
    }
}

void TaskSchedulerStandard::lock() {
    submissionMutex.lock();
    locked = true;
    submitter = std::this_thread::get_id();
    if (workers.empty()) {
        try {
            startWorkers();
        } catch (...) {
            locked = false;
            submissionMutex.unlock();
            throw;
        }
    }
}

void TaskSchedulerStandard::startWorkers() {
    workers.reserve(workerCount);
    for (std::uint64_t index = 0; index < workerCount; ++index) {
        workers.emplace_back(&TaskSchedulerStandard::workerLoop, this, index);
    }
}

void TaskSchedulerStandard::addTask(Event* event, Position position, RunFunction run, void* argument,
                                    std::uint64_t elementCount, CompletionFunction completion,
                                    void* completionArgument, const char* name) {
    if (!locked || submitter != std::this_thread::get_id()) {
        throw std::logic_error("task scheduler used without lock");
    }
    if (run == nullptr) {
        throw std::logic_error("task without run function");
    }
    if (event != nullptr) {
        event->done.store(false);
    }
    if (elementCount == 0) {
        // Nothing for a worker to do: the task is complete as soon as it is given.
        if (completion != nullptr) {
            Thread caller{workerCount};
            completion(caller, completionArgument);
        }
        if (event != nullptr) {
            event->done.store(true);
        }
        return;
    }

    {
        std::lock_guard<std::mutex> guard(mutex);
        Task* task = freeTasks;
        if (task != nullptr) {
            freeTasks = task->next;
        } else {
            // Reserve first so that a failing push_back cannot leak the new record.
            ownedTasks.reserve(ownedTasks.size() + 1);
            task = new Task;
            ownedTasks.push_back(task);
        }
        *task = Task{};
        task->event = event;
        task->run = run;
        task->argument = argument;
        task->completion = completion;
        task->completionArgument = completionArgument;
        task->name = name;
        task->elementCount = elementCount;

        if (position == PositionFront || queue == nullptr) {
            task->next = queue;
            queue = task;
        } else {
            Task* last = queue;
            while (last->next != nullptr) {
                last = last->next;
            }
            last->next = task;
        }
        ++unfinishedTasks;
    }
    workAvailable.notify_all();
}

void TaskSchedulerStandard::waitAndUnlock() {
    if (!locked || submitter != std::this_thread::get_id()) {
        throw std::logic_error("task scheduler used without lock");
    }
    std::exception_ptr caught;
    {
        std::unique_lock<std::mutex> guard(mutex);
        allFinished.wait(guard, [this] { return unfinishedTasks == 0; });
        caught = failure;
        failure = nullptr;
    }
    locked = false;
    submitter = std::thread::id();
    submissionMutex.unlock();
    if (caught) {
        std::rethrow_exception(caught);
    }
}

TaskSchedulerStandard::Task* TaskSchedulerStandard::takeTask() {
    for (Task* task = queue; task != nullptr; task = task->next) {
        if (task->nextElement < task->elementCount) {
            return task;
        }
    }
    return nullptr;
}

void TaskSchedulerStandard::unlink(Task* task) {
    Task** link = &queue;
    while (*link != task) {
        link = &(*link)->next;
    }
    *link = task->next;
    task->next = nullptr;
}

void TaskSchedulerStandard::recycle(Task* task) {
    task->next = freeTasks;
    freeTasks = task;
}

void TaskSchedulerStandard::finishTask(Task* task, Thread& thread, std::unique_lock<std::mutex>& guard) {
    unlink(task);
    if (task->completion != nullptr && !task->failed) {
        guard.unlock();
        try {
            task->completion(thread, task->completionArgument);
        } catch (...) {
            guard.lock();
            if (!failure) {
                failure = std::current_exception();
            }
            guard.unlock();
        }
        guard.lock();
    }
    if (task->event != nullptr) {
        task->event->done.store(true);
    }
    recycle(task);
    if (--unfinishedTasks == 0) {
        allFinished.notify_all();
    }
}

void TaskSchedulerStandard::workerLoop(std::uint64_t index) {
    Thread thread{index};
    std::unique_lock<std::mutex> guard(mutex);
    for (;;) {
        Task* task = nullptr;
        // Why a condition variable and not a spin: between frames the main thread converts, draws, swaps and
        // steps the world, and spinning workers would steal those cycles from it on a machine with few cores.
        workAvailable.wait(guard, [&] { return (task = takeTask()) != nullptr || stopping; });
        if (task == nullptr) {
            return;
        }
        std::uint64_t element = task->nextElement++;
        if (!task->failed) {
            guard.unlock();
            try {
                task->run(thread, task->argument, element);
                guard.lock();
            } catch (...) {
                guard.lock();
                task->failed = true;
                if (!failure) {
                    failure = std::current_exception();
                }
            }
        }
        if (++task->finishedElements == task->elementCount) {
            finishTask(task, thread, guard);
        }
    }
}

} // namespace verdanium
