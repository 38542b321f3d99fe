// Runs code on several threads at once.
#pragma once

#include <barrier>
#include <thread>
#include <vector>

namespace vdxtest {

// Runs body(0) to body(nThreads - 1), each on a thread of its own, all from the same moment on; comes back
// when the last one has ended.
template <class Body>
void runTogether(int nThreads, Body body) {
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

}  // namespace vdxtest
