// Runs code on several threads at once, and waits for what other threads do.
#pragma once

#include <barrier>
#include <chrono>
#include <thread>
#include <vector>

namespace vdxtest {

// Runs body(0) to body(nThreads - 1), each on a thread of its own, all from the same moment on; comes back
// when the last one has ended.
void runTogether(int nThreads, auto body) {
    std::barrier start(nThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            body(i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

// Waits until a condition holds, for ten seconds at most; whether it does.
bool soon(auto condition) {
    for (int i = 0; i < 5000 && !condition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return condition();
}

}  // namespace vdxtest
