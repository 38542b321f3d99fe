// Paths: splitting, joining and normalising texts; testing, creating, removing and
// copying files.
#pragma once

#include <cstdint>
#include <string>

#include <vdx/export.h>

// Example:
//   std::string log = pathAppend(getDiagnoseInfoPath(), "today.txt");
//   if (pathCreateDirectory(pathRemoveLastPart(log)) && !pathFileExist(log)) create(log);
//
// A path is UTF-8; its separators are those of chIsPathSeparator ('/'), and what is
// joined here is joined with '/'. A part is a run of other characters between them.
//
// Thread-safety: all functions. Errors: through the results only; nothing is traced,
// and errno tells the reason where the system refused.

// --- Texts (the file system is not asked) -----------------------------------------

// The path in its shortest absolute form: "." and empty parts dropped, ".." resolved
// (at the root it stays there), no separator at the end; "/" when nothing is left.
// Links are not looked at. /a/./b/../c//d/ gives /a/c/d.
//
// The first character is taken for the root separator and dropped unseen, so a
// relative path loses its first letter: abc/d gives /bc/d.
// Kept: callers rely on it. For a path that may be relative use pathGetAbsolutePath.
// Throws std::out_of_range for an empty path.
VDX_API std::string pathTidy(const std::string& path);

// The path itself when it begins with '/', else base + "/" + path, tidied. An empty
// base stands for the directory of the running executable.
// Requires: base, unless empty, is absolute (see pathTidy). Not checked.
VDX_API std::string pathGetAbsolutePath(const std::string& path, const std::string& base);

// Always empty. Kept for programs that link to it; null arguments are allowed.
VDX_API std::string pathGetRelativePath(const char* szPath, const char* szBase);

// From the last '.' of the last part to the end: /a/b.txt gives .txt, c.tar.gz gives
// .gz, /a.b/c nothing.
VDX_API std::string pathGetFileExtension(const std::string& path);

// What follows the last separator; the whole path when there is none.
VDX_API std::string pathGetFileName(const std::string& path);

// The first and last part: //a/b gives a, /a/b// gives b; empty when there is none.
VDX_API std::string pathGetFirstPart(const std::string& path);
VDX_API std::string pathGetLastPart(const std::string& path);

// With L the length of the last part: the path less its last L + 1 characters. So
// /a/b gives /a and /a gives an empty text. A path without a last part or without
// a separator comes back whole.
// Kept: separators at the end count as characters, /a/b/ gives /a/ - tidy the path first.
VDX_API std::string pathRemoveLastPart(const std::string& path);

// a without its separators at the end, '/', b without those at its start. Nothing
// else is looked at: an empty a gives "/" + b, an empty b gives a + "/".
VDX_API std::string pathAppend(const std::string& a, const std::string& b);

// The path with what follows its last separator replaced by name.
VDX_API std::string pathReplaceFileName(const std::string& path, const std::string& name);

// The path up to its last '.', then ext, which brings its own dot. An empty path
// gives ext.
// Kept: the search is not stopped by separators (/d.x/file and .txt give /d.txt), and
// a path without any '.' gives ext alone. Where the name may lack an extension, test
// pathGetFileExtension first.
VDX_API std::string pathReplaceExtern(const std::string& path, const std::string& ext);

// --- Files ------------------------------------------------------------------------
//
// The system reads a path up to its first zero byte.

// The mode word of stat (type and permission bits); 0 when there is no such entry.
// Links are followed.
VDX_API unsigned int pathStat(const std::string& path);

// Whether there is an entry of any kind. A link whose target is missing is none.
VDX_API bool pathFileExist(const std::string& path);
VDX_API bool pathDirectoryExist(const std::string& path);

// Size in bytes, -1 when stat fails. The int form keeps the low 32 bits only: a
// larger file has a wrong, perhaps negative size. Use pathFileSizei64.
VDX_API int pathFileSize(const std::string& path);
VDX_API std::int64_t pathFileSizei64(const std::string& path);

// mkdir with mode 0777 less the process mask; false when the entry exists.
VDX_API bool pathMkdir(const std::string& path);

// Creates the directory and all that are missing on the way to it; true when it is
// there in the end.
// Kept: nothing is created directly under the root, and a path whose missing levels
// reach up to a relative first part fails. Pass an absolute path.
VDX_API bool pathCreateDirectory(const std::string& path);

// remove(3): an empty directory - or a file, which it removes as well.
VDX_API bool pathRemoveEmptyDirectory(const std::string& path);

// unlink. False for a directory, an empty path, and where pathFileExist is false,
// which includes a link whose target is missing.
VDX_API bool pathRemoveFile(const std::string& path);

// Removes a directory with all it holds. Links in it are removed, never followed,
// and if the path itself is a link, that is all that goes. Entries that cannot be removed
// do not stop it but make the result false. False for what is no directory.
// Kept: true, and nothing done, for a directory that cannot be opened.
VDX_API bool pathRemoveDirectory(const std::string& path);

// rename(2): replaces the target at one stroke, within one file system.
VDX_API bool pathRenameFile(const std::string& from, const std::string& to);

// Copies, then removes the source: works across file systems, but not at one
// stroke. True at once when the two texts are equal.
VDX_API bool pathRenameFileEx(const std::string& from, const std::string& to);

// Copies the bytes, all that can be read: pipes and files of unknown size too. The
// target is created or emptied, with a new file's mode. True at once when the two
// texts are equal; false for a directory, for two names of the same file (it stays
// as it is), and when any byte may not have reached the target, which then holds
// a part.
VDX_API bool pathCopyFile(const std::string& from, const std::string& to);
