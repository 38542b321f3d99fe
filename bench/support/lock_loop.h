// The loop of the benchmarks of locks.
#pragma once

#include <benchmark/benchmark.h>

namespace vdx::bench {

// One iteration: the lock is taken, something that it guards changes, it is given back. Mutex has the
// names of the C++ library, lock() and unlock(); one object serves all threads.
template <class Mutex>
void lockAndUnlock(benchmark::State& state, Mutex& mutex) {
    static long s_nCount;
    for (auto _ : state) {
        mutex.lock();
        benchmark::DoNotOptimize(++s_nCount);
        mutex.unlock();
    }
}

}  // namespace vdx::bench
