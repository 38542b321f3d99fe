// Reporting must not change what it reports.
#pragma once

#include <cerrno>

namespace vdx {

// Puts errno back at the end of a scope.
class ErrnoSaver {
public:
    ErrnoSaver() : m_nErrno(errno) {}
    ~ErrnoSaver() { errno = m_nErrno; }
    ErrnoSaver(const ErrnoSaver&) = delete;
    int value() const { return m_nErrno; }
    ErrnoSaver& operator=(const ErrnoSaver&) = delete;

private:
    int m_nErrno;
};

}  // namespace vdx
