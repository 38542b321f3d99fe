// Whole files in one call.
#include "siblings/pmrfile/whole_file.h"

#include <sys/stat.h>
#include <exception>

#include "siblings/pmrfile/descriptor.h"

namespace {

constexpr std::size_t FIRST_STEP = 4096;

// What stat says is a hint only: files of /proc and pipes say 0, and a file may
// grow while it is read. One byte more lets a true hint see the end at once.
std::size_t sizeHint(int nFd) {
    struct stat status;
    if (::fstat(nFd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0) return FIRST_STEP;
    return static_cast<std::size_t>(status.st_size) + 1;
}

// Container: contiguous bytes with resize.
template <class Container>
bool readAll(int nFd, Container& bytes) {
    std::size_t nFilled = 0;
    bytes.resize(sizeHint(nFd));
    for (;;) {
        if (nFilled == bytes.size()) bytes.resize(bytes.size() * 2);
        const ssize_t nRead = vdx::readSome(nFd, bytes.data() + nFilled, bytes.size() - nFilled);
        if (nRead < 0) return false;
        if (nRead == 0) break;
        nFilled += static_cast<std::size_t>(nRead);
    }
    bytes.resize(nFilled);
    return true;
}

template <class Container>
bool readFile(const std::string& path, Container& bytes) {
    const vdx::Descriptor file(vdx::openFile(path.c_str(), O_RDONLY));
    try {
        if (file.isOpen() && readAll(file.get(), bytes)) return true;
    } catch (const std::exception&) {
        errno = ENOMEM;  // More than memory, or a container, can hold.
    }
    bytes.clear();
    return false;
}

}  // namespace

bool vdxDumpBinFile(const std::string& path, std::vector<unsigned char>& bytes) {
    return readFile(path, bytes);
}

bool vdxDumpTextFileA(const std::string& path, std::string& text) {
    return readFile(path, text);
}

bool vdxWriteBinFile(const std::string& path, std::string_view bytes, bool bSync) {
    vdx::Descriptor file(vdx::openFile(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC));
    if (!file.isOpen()) return false;
    const bool bWritten =
        vdx::writeAll(file.get(), bytes.data(), bytes.size()) && (!bSync || vdx::syncToDisk(file.get()));
    return file.close() && bWritten;
}
