// Files as buffered streams.
#include "siblings/pmrfile/file_stdio.h"

#include "siblings/pmrfile/descriptor.h"
#include "siblings/pmrfile/write_through.h"

namespace {

struct ModeFlags {
    int nOpen;
    const char* szStream;
};

bool findModeFlags(int nMode, ModeFlags& flags) {
    switch (nMode) {
        case chFileStdio::OPEN_READ:
            flags = {O_RDONLY, "r"};
            return true;
        case chFileStdio::OPEN_CREATE:
            flags = {O_WRONLY | O_CREAT | O_TRUNC, "w"};
            return true;
        case chFileStdio::OPEN_APPEND:
            flags = {O_WRONLY | O_CREAT | O_APPEND, "a"};
            return true;
        default:
            errno = EINVAL;
            return false;
    }
}

}  // namespace

bool chFileStdio::Open(const std::string& name, int nMode) {
    Close();
    ModeFlags flags{};
    if (!findModeFlags(nMode, flags)) return false;
    vdx::Descriptor file(vdx::openFile(name.c_str(), flags.nOpen));
    if (!file.isOpen()) return false;
    m_pFile = ::fdopen(file.get(), flags.szStream);
    if (!m_pFile) return false;
    file.release();
    // Where a stream that appends starts is left to the system: start at the end.
    // What cannot seek (a pipe) has no position, and no need of one.
    if (nMode == OPEN_APPEND) std::fseek(m_pFile, 0, SEEK_END);
    return true;
}

bool chFileStdio::Close() {
    if (!m_pFile) return true;
    std::FILE* pFile = m_pFile;
    m_pFile = nullptr;
    const bool bFailed = std::ferror(pFile) != 0;
    return std::fclose(pFile) == 0 && !bFailed;
}

std::size_t chFileStdio::Read(void* pBuffer, std::size_t nElementSize, std::size_t nCount) {
    return m_pFile ? std::fread(pBuffer, nElementSize, nCount, m_pFile) : 0;
}

std::size_t chFileStdio::Write(const void* pData, std::size_t nElementSize, std::size_t nCount) {
    return m_pFile ? std::fwrite(pData, nElementSize, nCount, m_pFile) : 0;
}

bool chFileStdio::WriteString(std::string_view text) {
    return m_pFile && std::fwrite(text.data(), 1, text.size(), m_pFile) == text.size();
}

bool chFileStdio::WriteThrough(std::initializer_list<std::string_view> parts) {
    return m_pFile && vdx::writeThrough(m_pFile, parts);
}

bool chFileStdio::Flush() {
    return m_pFile && std::fflush(m_pFile) == 0;
}

bool chFileStdio::Sync() {
    return Flush() && vdx::syncToDisk(::fileno(m_pFile));
}

bool chFileStdio::IsEOF() const {
    return !m_pFile || std::feof(m_pFile) || std::ferror(m_pFile);
}

bool chFileStdio::HasFailed() const {
    return m_pFile && std::ferror(m_pFile);
}

std::int64_t chFileStdio::GetPosition() const {
    return m_pFile ? std::int64_t{::ftello(m_pFile)} : -1;
}
