// Declarations of the platform functions that the Apple sources use, for syntax checks elsewhere.
#pragma once

#include <pthread.h>
#include <cstdint>

struct mach_timebase_info_data_t {
    std::uint32_t numer;
    std::uint32_t denom;
};
using mach_port_t = unsigned int;

int mach_timebase_info(mach_timebase_info_data_t* pInfo);
std::uint64_t mach_absolute_time();
mach_port_t pthread_mach_thread_np(pthread_t hThread);
pthread_t pthread_from_mach_thread_np(mach_port_t nPort);
