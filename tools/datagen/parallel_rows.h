#pragma once

// Runs `row(y)` for every y in [0, rows) on all processors. Each row is computed
// by itself from its index alone, so the result is the same whatever the number
// of threads or the order in which they run.

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace verdanium::datagen {

template <typename RowFunction>
void forEachRow(int rows, const RowFunction& row) {
    std::atomic<int> next{0};
    auto worker = [&] {
        for (int y = next++; y < rows; y = next++) {
            row(y);
        }
    };
    unsigned count = std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < count; ++i) {
        threads.emplace_back(worker);
    }
    worker();
    for (std::thread& t : threads) {
        t.join();
    }
}

} // namespace verdanium::datagen
