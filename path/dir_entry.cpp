// Entries of a directory with their kinds.
#include "path/dir_entry.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace vdx {

namespace {

bool isDotOrDotDot(const char* szName) {
    return szName[0] == '.' && (szName[1] == 0 || (szName[1] == '.' && szName[2] == 0));
}

EntryKind askKind(DIR* pDirectory, const char* szName, int nFlags) {
    struct stat status;
    if (::fstatat(::dirfd(pDirectory), szName, &status, nFlags) != 0) return EntryKind::Other;
    if (S_ISDIR(status.st_mode)) return EntryKind::Directory;
    return S_ISLNK(status.st_mode) ? EntryKind::Link : EntryKind::Other;
}

EntryKind kindOf(DIR* pDirectory, const dirent& entry) {
    switch (entry.d_type) {
        case DT_DIR:
            return EntryKind::Directory;
        case DT_LNK:
            return EntryKind::Link;
        case DT_UNKNOWN:
            return askKind(pDirectory, entry.d_name, AT_SYMLINK_NOFOLLOW);
        default:
            return EntryKind::Other;
    }
}

}  // namespace

bool readEntry(DIR* pDirectory, DirEntry& entry) {
    const dirent* pEntry;
    do {
        pEntry = ::readdir(pDirectory);
        if (!pEntry) return false;
    } while (isDotOrDotDot(pEntry->d_name));
    entry = {pEntry->d_name, kindOf(pDirectory, *pEntry)};
    return true;
}

bool linkLeadsToDirectory(DIR* pDirectory, const char* szName) {
    return askKind(pDirectory, szName, 0) == EntryKind::Directory;
}

}  // namespace vdx
