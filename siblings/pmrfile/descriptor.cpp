// System file descriptors and the calls on them that a signal may interrupt.
#include "siblings/pmrfile/descriptor.h"

#include <sys/stat.h>

namespace vdx {

int openFile(const char* szName, int nFlags) {
    int nFd;
    do {
        nFd = ::open(szName, nFlags | O_CLOEXEC, 0666);
    } while (nFd < 0 && errno == EINTR);
    if (nFd < 0) return -1;
    // A directory opens for reading, and only the first read would tell.
    struct stat status;
    if (::fstat(nFd, &status) == 0 && S_ISDIR(status.st_mode)) {
        ::close(nFd);
        errno = EISDIR;
        return -1;
    }
    return nFd;
}

ssize_t readSome(int nFd, void* pBuffer, std::size_t nSize) {
    ssize_t nRead;
    do {
        nRead = ::read(nFd, pBuffer, nSize);
    } while (nRead < 0 && errno == EINTR);
    return nRead;
}

bool writeAll(int nFd, const void* pData, std::size_t nSize) {
    const char* pNext = static_cast<const char*>(pData);
    while (nSize > 0) {
        const ssize_t nWritten = ::write(nFd, pNext, nSize);
        if (nWritten < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        pNext += nWritten;
        nSize -= static_cast<std::size_t>(nWritten);
    }
    return true;
}

bool syncToDisk(int nFd) {
    return ::fsync(nFd) == 0 || errno == EINVAL || errno == ENOTSUP;
}

}  // namespace vdx
