// The port to Linux.
#include "base/platform_port.h"

#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <ctime>

namespace vdx::port {

std::uint64_t bootNanoseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint32_t taskId() {
    return static_cast<std::uint32_t>(syscall(SYS_gettid));
}

int probeTask(int nId) {
    return syscall(SYS_tgkill, getpid(), nId, 0) == 0 ? 0 : errno;
}

}  // namespace vdx::port
