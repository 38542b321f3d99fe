// Permissions of new files, and directories on the disk.
#include "xml/file_sync.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>

#include "siblings/pmrfile/descriptor.h"

namespace vdx {

namespace {

constexpr mode_t USUAL_MODE = 0666;
constexpr mode_t PERMISSION_BITS = 07777;

}  // namespace

// A new file for itself alone: never one that somebody else put there, nor what a
// link points to. The mode goes on the descriptor: the process's mask must not cut it.
bool createLike(const std::string& szName, const std::string& szModel) {
    struct stat model {};
    const bool bModel = stat(szModel.c_str(), &model) == 0;
    const mode_t nMode = bModel ? model.st_mode & PERMISSION_BITS : USUAL_MODE;
    const Descriptor file(open(szName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, nMode & USUAL_MODE));
    return file.isOpen() && (!bModel || fchmod(file.get(), nMode) == 0);
}

bool syncDirectoryOf(const std::string& szName) {
    const std::size_t nSlash = szName.rfind('/');
    const std::string szDirectory = nSlash == std::string::npos ? "." : szName.substr(0, nSlash + 1);
    const Descriptor directory(open(szDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) return errno == EACCES;  // May be written to, but not read.
    return syncToDisk(directory.get());
}

}  // namespace vdx
