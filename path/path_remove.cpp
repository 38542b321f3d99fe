// Removing a directory with all it holds.
#include <vdx/path.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "path/dir_entry.h"
#include "siblings/pmrfile/descriptor.h"
#include "siblings/qvstl/text.h"
#include "text/path_separator.h"

namespace {

bool isLink(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// A link that took the directory's place meanwhile does not open.
vdx::DirHandle openDirectory(const std::string& path) {
    vdx::Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory.isOpen()) return nullptr;
    vdx::DirHandle pDirectory(::fdopendir(directory.get()));
    if (pDirectory) directory.release();
    return pDirectory;
}

// Empties the directories from the top downwards, gathering those inside, then removes
// them from the last to the first: one descriptor and no recursion, however deep.
class TreeRemoval {
public:
    // Requires: a directory, no link.
    bool run(const std::string& path) {
        m_found.push_back(path);
        for (std::size_t i = 0; i < m_found.size(); ++i)
            emptyDirectory(m_found[i]);
        for (std::size_t i = m_emptied.size(); i-- > 0;) {
            if (!pathRemoveEmptyDirectory(m_emptied[i])) m_bAll = false;
        }
        return m_bAll;
    }

private:
    // One that does not open is left alone; removing its parent will fail.
    void emptyDirectory(const std::string& found) {
        const std::string path = found;  // NOLINT(performance-*): `found` may lie in what grows below.
        const vdx::DirHandle pDirectory = openDirectory(path);
        if (!pDirectory) return;
        m_emptied.push_back(path);
        vdx::DirEntry entry;
        while (vdx::readEntry(pDirectory.get(), entry)) {
            if (entry.kind == vdx::EntryKind::Directory) {
                m_found.push_back(pathAppend(path, entry.szName));
            } else if (::unlinkat(::dirfd(pDirectory.get()), entry.szName, 0) != 0) {
                m_bAll = false;
            }
        }
    }

    std::vector<std::string> m_found;
    std::vector<std::string> m_emptied;
    bool m_bAll = true;
};

}  // namespace

bool pathRemoveDirectory(const std::string& path) {
    if (path.empty() || !pathDirectoryExist(path)) return false;
    std::string directory = qv::string_utf8_to_ascii(path, "");
    // With a separator at the end the system would follow a link.
    while (directory.size() > 1 && vdx::isPathSeparator(directory.back()))
        directory.pop_back();
    return isLink(directory) ? ::unlink(directory.c_str()) == 0 : TreeRemoval().run(directory);
}
