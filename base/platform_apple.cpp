// The port to macOS.
#include "base/platform_port.h"

#include <mach/mach_time.h>
#include <pthread.h>
#include <signal.h>
#include <atomic>

namespace vdx::port {

namespace {

// Both halves of the clock's ratio in one word; two first calls may both fetch it.
mach_timebase_info_data_t timebase() {
    static std::atomic<std::uint64_t> s_nRatio{0};
    std::uint64_t nRatio = s_nRatio.load(std::memory_order_relaxed);
    mach_timebase_info_data_t info;
    if (nRatio == 0) {
        mach_timebase_info(&info);
        nRatio = (static_cast<std::uint64_t>(info.numer) << 32) | info.denom;
        s_nRatio.store(nRatio, std::memory_order_relaxed);
    }
    info.numer = static_cast<std::uint32_t>(nRatio >> 32);
    info.denom = static_cast<std::uint32_t>(nRatio);
    return info;
}

}  // namespace

std::uint64_t bootNanoseconds() {
    const mach_timebase_info_data_t ratio = timebase();
    return mach_absolute_time() * ratio.numer / ratio.denom;
}

std::uint32_t taskId() {
    return pthread_mach_thread_np(pthread_self());
}

int probeTask(int nId) {
    const pthread_t hThread = pthread_from_mach_thread_np(static_cast<mach_port_t>(nId));
    return hThread == pthread_t{} ? 0 : pthread_kill(hThread, 0);
}

}  // namespace vdx::port
