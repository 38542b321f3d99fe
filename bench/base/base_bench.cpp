// Clocks and locks against the C++ library and the C library.
#include <sys/time.h>
#include <chrono>
#include <ctime>
#include <mutex>
#include <shared_mutex>

#include <benchmark/benchmark.h>

#include <vdx/locks.h>
#include <vdx/platform.h>
#include <vdx/time.h>

#include "support/lock_loop.h"
#include "support/ratio.h"

namespace {

// --- Clocks -----------------------------------------------------------------

void BM_TickCount_vdx(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(vdxGetTickCount());
}
BENCHMARK(BM_TickCount_vdx);

void BM_TickCount_steady(benchmark::State& state) {
    for (auto _ : state) {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        benchmark::DoNotOptimize(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    }
}
BENCHMARK(BM_TickCount_steady);
VDX_FIGURE("Boot clock, milliseconds", "BM_TickCount_vdx", {"BM_TickCount_steady"}, 0.95);

void BM_LocalTime_vdx(benchmark::State& state) {
    SYSTEMTIME time;
    for (auto _ : state) {
        vdxGetLocalTime(&time);
        benchmark::DoNotOptimize(time);
    }
}
BENCHMARK(BM_LocalTime_vdx);

void BM_LocalTime_libc(benchmark::State& state) {
    timeval now;
    tm local;
    for (auto _ : state) {
        gettimeofday(&now, nullptr);
        localtime_r(&now.tv_sec, &local);
        benchmark::DoNotOptimize(local);
    }
}
BENCHMARK(BM_LocalTime_libc);
VDX_FIGURE("Local time", "BM_LocalTime_vdx", {"BM_LocalTime_libc"}, 2.0);

// --- Locks ------------------------------------------------------------------

// The peers' names for lock and unlock.
struct VdxMutex : chCriticalSection {
    void lock() { Lock(); }
    void unlock() { Unlock(); }
};
struct VdxShared : xReadWriteLock {
    void lock() { LockWrite(); }
    void unlock() { UnlockWrite(); }
    void lock_shared() { LockRead(); }
    void unlock_shared() { UnlockRead(); }
};

template <class Mutex>
void BM_Lock(benchmark::State& state) {
    static Mutex s_mutex;
    vdx::bench::lockAndUnlock(state, s_mutex);
}
BENCHMARK(BM_Lock<VdxMutex>);
BENCHMARK(BM_Lock<std::mutex>);
// Contended figures depend on whether both threads run at once: shown without a goal.
BENCHMARK(BM_Lock<VdxMutex>)->Threads(2);
BENCHMARK(BM_Lock<std::mutex>)->Threads(2);
BENCHMARK(BM_Lock<VdxShared>);
BENCHMARK(BM_Lock<std::shared_mutex>);
VDX_FIGURE("Lock, uncontended", "BM_Lock<VdxMutex>", {"BM_Lock<std::mutex>"}, 0.9);
VDX_FIGURE("Lock, two threads", "BM_Lock<VdxMutex>/threads:2", {"BM_Lock<std::mutex>/threads:2"}, 0.0);
VDX_FIGURE("Reader/writer lock, write", "BM_Lock<VdxShared>", {"BM_Lock<std::shared_mutex>"}, 0.9);

template <class Mutex>
void BM_LockShared(benchmark::State& state) {
    static Mutex s_mutex;
    for (auto _ : state) {
        s_mutex.lock_shared();
        benchmark::ClobberMemory();
        s_mutex.unlock_shared();
    }
}
BENCHMARK(BM_LockShared<VdxShared>);
BENCHMARK(BM_LockShared<std::shared_mutex>);
VDX_FIGURE("Reader/writer lock, read", "BM_LockShared<VdxShared>", {"BM_LockShared<std::shared_mutex>"}, 0.9);

}  // namespace
