// Rotating log files.
#include <vdx/file_trace.h>

#include <sys/stat.h>
#include <atomic>
#include <cstring>
#include <new>
#include <string_view>

#include <vdx/directories.h>
#include <vdx/path.h>
#include <vdx/platform.h>

#include "siblings/pmrfile/file_stdio.h"

// The open file, shared by copies. The count is an atomic of its own: the
// interlocked functions take the static-object lock, and log files are opened
// under the trace helper's mutex, which comes after that lock.
struct chFileTrace::Holder {
    std::atomic<std::int32_t> nReferences{1};
    chFileStdio file;
};

namespace {

constexpr int OPEN_MODE = 12288;  // At the end; created when missing.

std::string defaultBase() {
    return appRootPath() + "/log/" + pathGetLastPart(vdxGetExeFileName());
}

// Indices as given may be any int; sums of them wrap.
int addIndex(int a, int b) {
    return static_cast<int>(static_cast<unsigned int>(a) + static_cast<unsigned int>(b));
}
int subtractIndex(int a, int b) {
    return static_cast<int>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b));
}

}  // namespace

chFileTrace::chFileTrace() : m_base(defaultBase()) {}

chFileTrace::~chFileTrace() {
    releaseHolder();
}

chFileTrace::chFileTrace(const chFileTrace& other) : baseDymicAlloc(other) {
    *this = other;
}

chFileTrace& chFileTrace::operator=(const chFileTrace& other) {
    Holder* pHolder = other.m_pHolder;  // Shared before the own one goes: they may be the same.
    if (pHolder) pHolder->nReferences.fetch_add(1, std::memory_order_relaxed);
    releaseHolder();
    m_pHolder = pHolder;
    m_base = other.m_base;
    m_nMaxSize = other.m_nMaxSize;
    m_nMaxCount = other.m_nMaxCount;
    m_nIndex = other.m_nIndex;
    m_nSize = other.m_nSize;
    return *this;
}

void chFileTrace::releaseHolder() {
    if (!m_pHolder) return;
    if (m_pHolder->nReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        m_pHolder->~Holder();
        free(m_pHolder);
    }
    m_pHolder = nullptr;
}

bool chFileTrace::isOpen() const {
    return m_pHolder && m_pHolder->file.IsFileOpened();
}

void chFileTrace::closeFile() {
    if (m_pHolder) m_pHolder->file.Close();
}

void chFileTrace::openFile() {
    if (!m_pHolder) {
        void* pMemory = alloc(static_cast<int>(sizeof(Holder)));
        if (!pMemory) return;
        m_pHolder = ::new (pMemory) Holder;
    }
    m_pHolder->file.Open(GetFileName(m_nIndex), OPEN_MODE);
}

bool chFileTrace::OpenFileTrace(const std::string& name, int nSizeKiB, int nCount) try {
    closeFile();
    if (!name.empty()) m_base = name;
    if (nSizeKiB != 0) m_nMaxSize = static_cast<std::uint32_t>(nSizeKiB) * 1024U;
    if (nCount != 0) m_nMaxCount = nCount;

    const int nFound = removeSurplusFiles();
    if (nFound == 0) {
        m_nIndex = 0;
        m_nSize = 0;
    } else if (nFound <= m_nMaxCount) {
        m_nIndex = nFound - 1;
    } else {
        for (int k = 0; k < m_nMaxCount; ++k) {
            pathRenameFile(GetFileName(k + nFound - m_nMaxCount), GetFileName(k));
        }
        m_nIndex = subtractIndex(m_nMaxCount, 1);
    }
    return true;
} catch (const std::bad_alloc&) {
    return true;
}

// Returns how many files were found.
int chFileTrace::removeSurplusFiles() {
    int nFound = 0;
    while (pathFileExist(GetFileName(nFound))) {
        if (nFound >= m_nMaxCount) pathRemoveFile(GetFileName(subtractIndex(nFound, m_nMaxCount)));
        ++nFound;
    }
    return nFound;
}

std::string chFileTrace::GetFileName(int nIndex) const {
    return m_base + '-' + std::to_string(nIndex) + ".log";
}

void chFileTrace::rotate() {
    closeFile();
    if (addIndex(m_nIndex, 1) < m_nMaxCount) {
        ++m_nIndex;
    } else {
        pathRemoveFile(GetFileName(0));
        for (int k = 1; k < m_nMaxCount; ++k)
            pathRenameFile(GetFileName(k), GetFileName(k - 1));
    }
    openFile();
    m_nSize = 0;
}

bool chFileTrace::prepareWrite() try {
    if (!isOpen()) {
        openFile();
        if (isOpen()) {
            struct stat status {};
            const bool bKnown = stat(GetFileName(m_nIndex).c_str(), &status) == 0;
            m_nSize = static_cast<std::uint32_t>(bKnown ? status.st_size : m_pHolder->file.GetPosition());
        }
    }
    if (m_nSize >= m_nMaxSize) rotate();
    return isOpen();
} catch (const std::bad_alloc&) {
    return false;  // No memory for a file name.
}

bool chFileTrace::WriteLogLine(const std::string& line) {
    writeLine(line);
    return true;
}

void chFileTrace::writeLine(std::string_view line) {
    if (!prepareWrite()) return;
    m_pHolder->file.WriteThrough({line, "\n"});
    m_nSize += static_cast<std::uint32_t>(line.size());
}

bool chFileTrace::WriteLogLineRaw(const char* szHead, const std::string& line) {
    if (!prepareWrite()) return true;
    const std::string_view head = szHead ? szHead : "";
    m_pHolder->file.WriteString(head);
    m_pHolder->file.WriteString(line);
    m_pHolder->file.WriteString("\n");
    m_nSize += static_cast<std::uint32_t>(head.size() + line.size());
    return true;
}

bool chFileTrace::WriteLogLine(const char* szHead, const std::string& line) {
    WriteLogLineRaw(szHead, line);
    return Flush();
}

bool chFileTrace::Flush() {
    if (isOpen()) m_pHolder->file.Flush();
    return true;
}
