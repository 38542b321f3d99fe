// Identity of process and threads, clock ticks, sleeping, errors, directories.
#pragma once

#include <pthread.h>
#include <cstdint>
#include <string>

#include <vdx/export.h>

// Example:
//   std::uint64_t nStart = vdxGetTickCount();
//   if (!work()) vdxOutputWarningString("work: %s", vdxTransLastError().c_str());
//   vdxOutputDebugString("%llu ms", (unsigned long long)(vdxGetTickCount() - nStart));
//
// Thread-safety: all functions.

// Version of the library: "2.0.5.35".
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the interface.
extern "C" VDX_API const char* const __szVersion_VER_VDX_LIB;

// --- Identity ---------------------------------------------------------------

// The number of the calling process; the child's own after a fork.
VDX_API int vdxGetCurrentProcessId();

// The calling thread's POSIX handle as a number; never 0.
VDX_API std::uint64_t vdxGetCurrentThreadId();

// The kernel's number of the calling thread: what trace lines print. Right in a
// forked child, too.
VDX_API std::uint32_t vdxGetCurrentTaskId();

// Always true: a thread handle cannot be probed.
VDX_API bool vdxIsValidThreadID(pthread_t hThread);

// A lenient answer: false for 0, true for every other number, whether or not
// such a thread lives. Callers use it to keep records, never to end anything.
VDX_API bool vdxIsValidTaskID(int nId);

// As lenient as vdxIsValidTaskID, and true for 0 too.
VDX_API bool vdxIsValidProcessID(int nId);

// --- Clock ------------------------------------------------------------------

// Milliseconds since boot; never decreases, unaffected by the calendar clock.
VDX_API std::uint64_t vdxGetTickCount();

// Always 0: no cycle counter is read.
VDX_API std::uint64_t vdxGetCPUTickCount();

// --- Waiting ----------------------------------------------------------------

// Waits for a number of milliseconds; a signal ends the wait early. Returns 0
// after the whole time, -1 with errno otherwise (a negative time fails at once).
VDX_API int vdxSleep(int nMilliseconds);

// The same as vdxSleep.
VDX_API int vdxDelay(int nMilliseconds);

// Sleeps 10 microseconds, so that another thread may run. Returns 0, or -1.
VDX_API int vdxSwitchToThread();

// --- Errors -----------------------------------------------------------------

// errno of the calling thread.
VDX_API std::uint32_t vdxGetLastError();

// The text of errno, or of an error number.
VDX_API std::string vdxTransLastError();
VDX_API std::string vdxTransLastError(unsigned int nCode);

// --- Counters ---------------------------------------------------------------

// Adds or subtracts 1 under the static-object lock (locks.h) and returns the new
// value; wraps at the ends of int. May be called while that lock is held.
VDX_API int vdxInterlockedIncrement(int& nValue);
VDX_API int vdxInterlockedDecrement(int& nValue);

// --- Directories ------------------------------------------------------------

// Path of the running program from /proc/self/exe, cut after 255 bytes; empty
// where it cannot be read (always on macOS).
VDX_API std::string vdxGetExeFileName();

// The current directory; empty when it is longer than 255 bytes or unreadable.
VDX_API std::string vdxGetCurrentDirectory();

// The environment variable "HOME"; empty when it is not set.
VDX_API std::string vdxGetHomeDirectory();

// Always "/tmp".
VDX_API std::string vdxGetTempDirectory();

// --- Process ----------------------------------------------------------------

// Ends the process: waits 300 ms, so that others can take what was traced,
// raises SIGABRT, and exits with status 6 if that returns.
[[noreturn]] VDX_API void vdxAbort();

// Does nothing: crash signals are left to the application.
VDX_API void vdxHookCrashSignal();

// Does nothing and returns 0.
VDX_API int KillProcessAppByName(std::string name);

// Traces, at level 7, how many entries the calling thread's descriptor folder
// has ("." and ".." counted), or why it could not be opened. Returns 0.
VDX_API int getFdCounts();
