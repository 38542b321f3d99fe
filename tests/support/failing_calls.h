// Calls of the system that fail where a test wants it. The linker sends a program's calls of a
// function to its replacement when the folder's CMakeLists.txt names it with -Wl,--wrap=:
//
//     extern "C" {
//     VDX_FAILING(int, fsync, (int nFd), (nFd), -1)
//     }
//     vdxtest::t_failure = {.nLeft = 2, .nError = EIO};  // The third call fails.
#pragma once

#include <signal.h>
#include <unistd.h>
#include <cerrno>
#include <string_view>

namespace vdxtest {

// Which calls of this thread fail next.
struct Failure {
    int nLeft = -1;             // How many calls work before; -1: none fails.
    int nError = 0;             // The errno that a failing one leaves; KILLS: the process dies there.
    std::string_view name{};    // Calls with other names do not count; empty: all count.
    int nTimes = 1;             // How many calls fail in a row.
    std::string_view failed{};  // The name of the last one that has failed.
};
constexpr int KILLS = -1;
inline thread_local Failure t_failure;

// Whether this call is one that fails; errno is set then.
inline bool fails(std::string_view name) {
    Failure& failure = t_failure;
    if (failure.nLeft < 0 || (!failure.name.empty() && failure.name != name)) return false;
    if (failure.nLeft-- > 0) return false;
    if (--failure.nTimes > 0) failure.nLeft = 0;
    failure.failed = name;
    if (failure.nError == KILLS) kill(getpid(), SIGKILL);
    errno = failure.nError;
    return true;
}

}  // namespace vdxtest

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
// A replacement that a body in braces follows; __real_name is the function itself.
#define VDX_REPLACED(result, name, parameters) \
    result __real_##name parameters;           \
    result __wrap_##name parameters;           \
    result __wrap_##name parameters
// A replacement that returns `failure`, and does nothing, when it is its turn to fail.
#define VDX_FAILING(result, name, parameters, arguments, failure)                              \
    VDX_REPLACED(result, name, parameters) {                                                   \
        return vdxtest::fails(#name) ? static_cast<result>(failure) : __real_##name arguments; \
    }
// NOLINTEND(bugprone-reserved-identifier)
