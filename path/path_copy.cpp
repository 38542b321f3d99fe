// Copying a file.
#include <vdx/path.h>

#include <sys/stat.h>

#include "path/kernel_copy.h"
#include "siblings/pmrfile/descriptor.h"
#include "siblings/qvstl/text.h"

namespace {

bool sameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

// Opens the target and empties it, unless it is the source by another name: emptying
// that would lose everything.
vdx::Descriptor openTarget(const std::string& path, int nSource) {
    vdx::Descriptor target(vdx::openFile(path.c_str(), O_WRONLY | O_CREAT));
    struct stat from;
    struct stat to;
    if (!target.isOpen() || ::fstat(nSource, &from) != 0 || ::fstat(target.get(), &to) != 0)
        return vdx::Descriptor();
    if (sameFile(from, to)) {
        errno = EINVAL;
        return vdx::Descriptor();
    }
    const bool bEmptied = !S_ISREG(to.st_mode) || to.st_size == 0 || ::ftruncate(target.get(), 0) == 0;
    return bEmptied ? std::move(target) : vdx::Descriptor();
}

// Until the source has no more, whatever its status says.
bool copyByBuffer(int nFrom, int nTo) {
    char buffer[65536];
    for (;;) {
        const ssize_t nRead = vdx::readSome(nFrom, buffer, sizeof buffer);
        if (nRead <= 0) return nRead == 0;
        if (!vdx::writeAll(nTo, buffer, static_cast<std::size_t>(nRead))) return false;
    }
}

}  // namespace

bool pathCopyFile(const std::string& from, const std::string& to) {
    if (from == to) return true;
    const vdx::Descriptor source(vdx::openFile(qv::string_utf8_to_ascii(from, "").c_str(), O_RDONLY));
    if (!source.isOpen()) return false;
    vdx::Descriptor target = openTarget(qv::string_utf8_to_ascii(to, ""), source.get());
    if (!target.isOpen()) return false;
    vdx::copyInKernel(source.get(), target.get());
    const bool bCopied = copyByBuffer(source.get(), target.get());
    return target.close() && bCopied;
}
