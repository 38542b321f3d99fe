// What a port to another system must supply.
#pragma once

#include <cstdint>

namespace vdx::port {

// A clock that starts at boot, never decreases and does not follow the calendar.
std::uint64_t bootNanoseconds();

// The kernel's number of the calling thread. May be a system call.
std::uint32_t taskId();

// Sends signal 0 to a thread by its number. Answers as pthread_kill does: 0 or an
// error number, never -1.
int probeTask(int nId);

}  // namespace vdx::port
