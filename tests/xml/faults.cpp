// Calls on files, and memory, that fail where a test wants it, for the whole test program.
#include "support/failing_calls.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <cstdlib>
#include <new>

namespace {

// Memory fails only where a test names it: it does not count among the calls on files.
bool isShort(std::string_view name) {
    return vdxtest::t_failure.name == name && vdxtest::fails(name);
}

}  // namespace

void* operator new(std::size_t nSize) {
    void* p = isShort("new") ? nullptr : std::malloc(nSize ? nSize : 1);
    if (!p) throw std::bad_alloc();
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

extern "C" {
VDX_FAILING(ssize_t, read, (int nFd, void* p, std::size_t n), (nFd, p, n), -1)
VDX_FAILING(int, fsync, (int nFd), (nFd), -1)
VDX_FAILING(int, stat, (const char* szName, struct stat* pStatus), (szName, pStatus), -1)
VDX_FAILING(int, fstat, (int nFd, struct stat* pStatus), (nFd, pStatus), -1)
VDX_FAILING(int, chmod, (const char* szName, mode_t nMode), (szName, nMode), -1)
VDX_FAILING(int, rename, (const char* szFrom, const char* szTo), (szFrom, szTo), -1)
VDX_FAILING(int, unlink, (const char* szName), (szName), -1)
// Where the caller gives no mode, the system ignores what is passed on.
VDX_FAILING(int, open, (const char* szName, int nFlags, mode_t nMode), (szName, nFlags, nMode), -1)

// One that fails or kills has written half.
VDX_REPLACED(ssize_t, write, (int nFd, const void* p, std::size_t n)) {
    const vdxtest::Failure& failure = vdxtest::t_failure;
    const bool bNext = failure.nLeft == 0 && failure.name.empty();
    const ssize_t nWritten = __real_write(nFd, p, bNext ? n / 2 : n);
    return vdxtest::fails("write") ? -1 : nWritten;
}
// One that fails has closed.
VDX_REPLACED(int, close, (int nFd)) {
    const int nResult = __real_close(nFd);
    return vdxtest::fails("close") ? -1 : nResult;
}
VDX_REPLACED(void*, mmap, (void* p, std::size_t n, int nProtection, int nFlags, int nFd, off_t nOffset)) {
    return isShort("mmap") ? MAP_FAILED : __real_mmap(p, n, nProtection, nFlags, nFd, nOffset);
}
}
