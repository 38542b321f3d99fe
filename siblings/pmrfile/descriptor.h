// System file descriptors and the calls on them that a signal may interrupt.
#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>
#include <cerrno>
#include <cstddef>

namespace vdx {

// Owns a descriptor; -1 for none.
class Descriptor {
public:
    explicit Descriptor(int nFd = -1) : m_nFd(nFd) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : m_nFd(other.release()) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const { return m_nFd >= 0; }
    int get() const { return m_nFd; }

    int release() {
        const int nFd = m_nFd;
        m_nFd = -1;
        return nFd;
    }

    // False when the system reports a write that was lost. After EINTR the
    // descriptor is gone as well: never closed again.
    bool close() {
        const int nFd = release();
        return nFd < 0 || ::close(nFd) == 0 || errno == EINTR;
    }

private:
    int m_nFd;
};

// open(2), closed on exec, new files with the usual mode (0666 less the process
// mask). A directory is refused with EISDIR. -1 and errno on failure.
int openFile(const char* szName, int nFlags);

// read(2) over interruptions: bytes, 0 at the end, -1 and errno.
ssize_t readSome(int nFd, void* pBuffer, std::size_t nSize);

// Writes all of it, or false and errno.
bool writeAll(int nFd, const void* pData, std::size_t nSize);

// True once the disk has the file's bytes. Also true for what cannot be synced
// (a pipe, a terminal).
bool syncToDisk(int nFd);

}  // namespace vdx
