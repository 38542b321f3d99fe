// Walking directories and filtering file names.
#pragma once

#include <dirent.h>
#include <list>
#include <memory>
#include <string>

#include <vdx/export.h>

namespace vdx {
class FilterLists;
}

// Example:
//   for (const std::string& path : vdxFindFile(appRootPath().c_str(), "*.log;*.txt;-~*", true))
//       read(path);

// Reads the names in one directory.
//
// Thread-safety: one thread at a time. Errors: false.
class VDX_API chPathWalker {
public:
    explicit chPathWalker(const std::string& path);  // Opens it unless empty.
    ~chPathWalker() { ClosePath(); }
    chPathWalker(const chPathWalker&) = delete;
    chPathWalker& operator=(const chPathWalker&) = delete;

    // Kept: a directory that is open already is not closed and stays open to the end
    // of the process; call ClosePath first.
    bool OpenPath(const std::string& path);
    void ClosePath();  // Nothing happens when none is open.

    // The next name, without its directory, in the order of the file system; "." and
    // ".." are left out. False, and an empty name, at the end or without a directory.
    bool ReadFileName(std::string& name);

private:
    DIR* m_pDirectory = nullptr;
};

// Accept and deny patterns for file names, apart by ';', such as "*.txt;*.log;-~*".
//
// In a pattern '*' stands for any run of characters and '?' for one; neither for a
// line end. A leading '-' makes it a deny pattern; a leading '+' is dropped. Spaces
// belong to the pattern, case counts, and a pattern must match the whole name.
// Characters are bytes: a letter beyond ASCII needs as many '?' as its UTF-8 has
// bytes.
// '|' and '\' pass into the regular expression (ECMAScript) that a pattern means, so
// "a*|b*" is an alternative and "\d*" begins with a digit ("*" still becomes ".*").
//
// Thread-safety: reading. Copies share their lists, which nobody changes.
class VDX_API chFileFilter {
public:
    explicit chFileFilter(const std::string& filter) { SetFilter(filter); }  // Throws as SetFilter.
    // Copies only: a filter that was moved from would have no lists.
    chFileFilter(const chFileFilter&) = default;
    chFileFilter& operator=(const chFileFilter&) = default;

    // Replaces all patterns. Throws std::regex_error for a pattern that is no regular
    // expression, which only one with a back-slash can be, or for one of those that
    // is longer than 1000 characters; the patterns before it then stand.
    void SetFilter(const std::string& filter);

    // The regular expression that one pattern means.
    static std::string fileExpress2REText(const std::string& wildcard);

    // True when an accept pattern matches, or when there are none.
    // A name of more than 4096 bytes matches no pattern with a back-slash.
    bool IsAcceptFileName(const std::string& name) const;

    // True when a deny pattern matches; false when there are none.
    bool IsDenyFileName(const std::string& name) const;

private:
    std::shared_ptr<const vdx::FilterLists> m_pLists;
};

// The full paths (the directory as given, '/', names) of the files in a directory, and
// below it when bRecursive, whose names the filter accepts. Everything but a directory
// is a file here, a link without a target included; a name that the filter denies is
// skipped, and so is all below a directory with such a name.
//
// Links to directories are followed, after everything else, but no directory is visited
// twice, so they never lead in circles; otherwise the order is the file system's. A
// directory that cannot be opened yields nothing.
//
// Throws std::regex_error as chFileFilter::SetFilter. Null arguments count as empty: an
// empty directory yields nothing, an empty filter accepts everything.
VDX_API std::list<std::string> vdxFindFile(const char* szDirectory, const char* szFilter, bool bRecursive);

// The same, added to the end of a list; a path that the list holds already is not added
// again.
VDX_API void vdxFindFile(const std::string& directory, const std::string& filter, std::list<std::string>& out,
                         bool bRecursive = true);
