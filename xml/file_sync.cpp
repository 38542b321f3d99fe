// Permissions of new files, and directories on the disk.
#include "xml/file_sync.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>

#include "siblings/pmrfile/descriptor.h"

namespace vdx {

namespace {

constexpr mode_t USUAL_MODE = 0666;
constexpr mode_t PRIVATE_MODE = 0600;
constexpr mode_t PERMISSION_BITS = 07777;

}  // namespace

// A new file for itself alone: never one that somebody else put there, nor what a
// link points to.
bool createFor(const std::string& szName, const std::string& szModel) {
    struct stat model {};
    const mode_t nMode = stat(szModel.c_str(), &model) == 0 ? PRIVATE_MODE : USUAL_MODE;
    return Descriptor(open(szName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, nMode)).isOpen();
}

bool copyPermissions(const std::string& szModel, const std::string& szName) {
    struct stat model {};
    if (stat(szModel.c_str(), &model) != 0) return errno == ENOENT;
    return chmod(szName.c_str(), model.st_mode & PERMISSION_BITS) == 0;
}

std::string directoryOf(const std::string& szName) {
    const std::size_t nSlash = szName.rfind('/');
    return nSlash == std::string::npos ? "." : szName.substr(0, nSlash + 1);
}

bool syncDirectory(const std::string& szDirectory) {
    const Descriptor directory(open(szDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) return errno == EACCES;  // May be written to, but not read.
    return syncToDisk(directory.get());
}

}  // namespace vdx
