// Paths in the file system: testing, creating, removing, renaming.
#include <vdx/path.h>

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "path/path_parts.h"
#include "siblings/qvstl/text.h"

namespace {

// As the system wants to have it. Some operations take their path unconverted; where
// the encodings differed, so would they.
const char* local(const std::string& path) {
    return qv::string_utf8_to_ascii(path, "").c_str();
}

std::int64_t fileSize(const std::string& path) {
    struct stat status;
    return ::stat(local(path), &status) == 0 ? std::int64_t{status.st_size} : -1;
}

// True when the directory is there in the end: another process, or a path that names
// it a second time (by a doubled separator), may have been quicker.
bool makeDirectory(const std::string& path) {
    return pathMkdir(path) || (errno == EEXIST && pathDirectoryExist(path));
}

}  // namespace

unsigned int pathStat(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

bool pathFileExist(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0;
}

bool pathDirectoryExist(const std::string& path) {
    return (pathStat(path) & S_IFMT) == S_IFDIR;
}

int pathFileSize(const std::string& path) {
    return static_cast<int>(static_cast<std::uint32_t>(fileSize(path)));
}

std::int64_t pathFileSizei64(const std::string& path) {
    return fileSize(path);
}

bool pathMkdir(const std::string& path) {
    return ::mkdir(path.c_str(), 0777) == 0;
}

bool pathCreateDirectory(const std::string& path) {
    std::string level = path;
    std::vector<std::size_t> missing;  // Lengths of the levels to create, the deepest first.
    while (level != "/" && !pathDirectoryExist(level)) {
        if (errno == ENAMETOOLONG) return false;  // No system call will take it; nor is it walked.
        const std::size_t nParent = vdx::withoutLastPart(level).size();
        if (nParent == 0 || nParent == level.size()) return false;
        missing.push_back(level.size());
        level.resize(nParent);
    }
    for (; !missing.empty(); missing.pop_back()) {
        if (!makeDirectory(path.substr(0, missing.back()))) return false;
    }
    return true;
}

bool pathRemoveEmptyDirectory(const std::string& path) {
    return std::remove(local(path)) == 0;
}

bool pathRemoveFile(const std::string& path) {
    return !path.empty() && pathFileExist(path) && ::unlink(local(path)) == 0;
}

bool pathRenameFile(const std::string& from, const std::string& to) {
    return std::rename(local(from), local(to)) == 0;
}

bool pathRenameFileEx(const std::string& from, const std::string& to) {
    return from == to || (pathCopyFile(from, to) && pathRemoveFile(from));
}
