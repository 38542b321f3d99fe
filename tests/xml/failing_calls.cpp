// Replaces operator new, and wraps system calls, for the whole test program.
#include "xml/failing_calls.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>

void* operator new(std::size_t nSize) {
    void* p = xmltest::t_nAllocationsLeft == 0 ? nullptr : std::malloc(nSize ? nSize : 1);
    if (!p) throw std::bad_alloc();
    if (xmltest::t_nAllocationsLeft > 0) --xmltest::t_nAllocationsLeft;
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

// Whether this call is the one that fails.
bool fails(const char* szCall) {
    xmltest::FileCalls& calls = xmltest::t_fileCalls;
    if (calls.nLeft < 0 || calls.nLeft-- > 0) return false;
    calls.szFailed = szCall;
    if (calls.nError == xmltest::KILLS) kill(getpid(), SIGKILL);
    errno = calls.nError;
    return true;
}

}  // namespace

// What the linker calls instead of a name (--wrap), and what it calls then.
#define VDX_WRAPPED(result, name, parameters)   \
    extern "C" result __real_##name parameters; \
    extern "C" result __wrap_##name parameters
#define VDX_FAILING(result, name, parameters, arguments)    \
    VDX_WRAPPED(result, name, parameters) {                 \
        return fails(#name) ? -1 : __real_##name arguments; \
    }

// NOLINTBEGIN: the linker makes these names.
VDX_FAILING(ssize_t, read, (int nFd, void* p, std::size_t n), (nFd, p, n))
VDX_FAILING(int, fsync, (int nFd), (nFd))
VDX_FAILING(int, stat, (const char* szName, struct stat* pStatus), (szName, pStatus))
VDX_FAILING(int, fstat, (int nFd, struct stat* pStatus), (nFd, pStatus))
VDX_FAILING(int, chmod, (const char* szName, mode_t nMode), (szName, nMode))
VDX_FAILING(int, rename, (const char* szFrom, const char* szTo), (szFrom, szTo))
VDX_FAILING(int, unlink, (const char* szName), (szName))
// Where the caller gives no mode, the system ignores what is passed on.
VDX_FAILING(int, open, (const char* szName, int nFlags, mode_t nMode), (szName, nFlags, nMode))

VDX_WRAPPED(ssize_t, write, (int nFd, const void* p, std::size_t n)) {
    const ssize_t nWritten = __real_write(nFd, p, xmltest::t_fileCalls.nLeft != 0 ? n : n / 2);
    return fails("write") ? -1 : nWritten;
}
VDX_WRAPPED(int, close, (int nFd)) {
    const int nResult = __real_close(nFd);
    return fails("close") ? -1 : nResult;
}
VDX_WRAPPED(void*, mmap, (void* p, std::size_t n, int nProtection, int nFlags, int nFd, off_t nOffset)) {
    if (xmltest::t_nAllocationsLeft != 0) return __real_mmap(p, n, nProtection, nFlags, nFd, nOffset);
    errno = ENOMEM;
    return MAP_FAILED;
}
// NOLINTEND
