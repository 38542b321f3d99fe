// Replaces operator new, and wraps system calls, for the whole test program.
#include "xml/failing_calls.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

thread_local long t_nAllocationsLeft = -1;
thread_local long t_nFileCallsLeft = -1;
thread_local int t_nError = 0;
thread_local const char* t_szFailed = "";
thread_local bool t_bMappingFails = false;

// Whether this call is the one that fails.
bool fails(const char* szCall) {
    if (t_nFileCallsLeft < 0 || t_nFileCallsLeft-- > 0) return false;
    t_szFailed = szCall;
    if (t_nError == xmltest::KILLS) kill(getpid(), SIGKILL);
    errno = t_nError;
    return true;
}

}  // namespace

namespace xmltest {

void setAllocationsLeft(long nCount) {
    t_nAllocationsLeft = nCount;
}

void setFileCallsLeft(long nCount, int nError) {
    t_nFileCallsLeft = nCount;
    t_nError = nError;
    if (nCount >= 0) t_szFailed = "";
}

std::string failedFileCall() {
    return t_szFailed;
}

void setMappingFails(bool bFails) {
    t_bMappingFails = bFails;
}

}  // namespace xmltest

void* operator new(std::size_t nSize) {
    if (t_nAllocationsLeft == 0) throw std::bad_alloc();
    if (t_nAllocationsLeft > 0) --t_nAllocationsLeft;
    if (void* p = std::malloc(nSize ? nSize : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

// What the linker calls instead (--wrap), and what it calls then.
#define VDX_FAILING(result, name, parameters, arguments)            \
    extern "C" result __real_##name parameters;                     \
    extern "C" result __wrap_##name parameters;                     \
    extern "C" result __wrap_##name parameters {                    \
        return fails(#name) ? result{-1} : __real_##name arguments; \
    }

// NOLINTBEGIN: the linker makes these names.
VDX_FAILING(ssize_t, read, (int nFd, void* p, std::size_t n), (nFd, p, n))
VDX_FAILING(int, fsync, (int nFd), (nFd))
VDX_FAILING(int, stat, (const char* szName, struct stat* pStatus), (szName, pStatus))
VDX_FAILING(int, fstat, (int nFd, struct stat* pStatus), (nFd, pStatus))
VDX_FAILING(int, chmod, (const char* szName, mode_t nMode), (szName, nMode))
VDX_FAILING(int, rename, (const char* szFrom, const char* szTo), (szFrom, szTo))
VDX_FAILING(int, unlink, (const char* szName), (szName))

extern "C" int __real_open(const char* szName, int nFlags, ...);
extern "C" int __wrap_open(const char* szName, int nFlags, ...);
extern "C" int __wrap_open(const char* szName, int nFlags, ...) {
    va_list arguments;
    va_start(arguments, nFlags);
    const mode_t nMode = (nFlags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fails("open") ? -1 : __real_open(szName, nFlags, nMode);
}

extern "C" ssize_t __real_write(int nFd, const void* p, std::size_t n);
extern "C" ssize_t __wrap_write(int nFd, const void* p, std::size_t n);
extern "C" ssize_t __wrap_write(int nFd, const void* p, std::size_t n) {
    const bool bWhole = t_nFileCallsLeft != 0;
    const ssize_t nWritten = __real_write(nFd, p, bWhole ? n : n / 2);
    return fails("write") ? -1 : nWritten;
}

extern "C" int __real_close(int nFd);
extern "C" int __wrap_close(int nFd);
extern "C" int __wrap_close(int nFd) {
    const int nResult = __real_close(nFd);
    return fails("close") ? -1 : nResult;
}

extern "C" void* __real_mmap(void* p, std::size_t n, int nProtection, int nFlags, int nFd, off_t nOffset);
extern "C" void* __wrap_mmap(void* p, std::size_t n, int nProtection, int nFlags, int nFd, off_t nOffset);
extern "C" void* __wrap_mmap(void* p, std::size_t n, int nProtection, int nFlags, int nFd, off_t nOffset) {
    if (!t_bMappingFails) return __real_mmap(p, n, nProtection, nFlags, nFd, nOffset);
    errno = ENOMEM;
    return MAP_FAILED;
}
// NOLINTEND
