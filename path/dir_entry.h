// Entries of a directory with their kinds.
#pragma once

#include <dirent.h>
#include <memory>

namespace vdx {

enum class EntryKind { Directory, Link, Other };

struct DirEntry {
    const char* szName;  // Until the next read or the close.
    EntryKind kind;      // Of the entry itself; Other when it went away meanwhile.
};

struct DirCloser {
    void operator()(DIR* pDirectory) const { ::closedir(pDirectory); }
};
using DirHandle = std::unique_ptr<DIR, DirCloser>;

// The next entry except "." and ".."; false at the end. The kind comes with the name
// for nothing on all common file systems and is asked for on the others.
bool readEntry(DIR* pDirectory, DirEntry& entry);

// Whether the entry, links followed, is a directory.
bool linkLeadsToDirectory(DIR* pDirectory, const char* szName);

}  // namespace vdx
