// Lists the files below a directory that a filter accepts, with their sizes.
//
//   find_files [directory [filter]]     such as: find_files /var/log "*.log;*.txt;-old*"
//
// Without a directory it makes a small one of its own first, and removes it at the end.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vdx/find_file.h>
#include <vdx/path.h>
#include <vdx/platform.h>
#include <vdx/words.h>

namespace {

// Three copies of this program under other names, in two directories.
bool makeSample(const std::string& root) {
    const std::string self = vdxGetExeFileName();
    for (const std::string& name : vdxTextBreak("one.txt;notes/two.txt;notes/three.bak", ";")) {
        const std::string path = pathGetAbsolutePath(name, root);
        if (!pathCreateDirectory(pathRemoveLastPart(path)) || !pathCopyFile(self, path)) return false;
    }
    return true;
}

std::int64_t list(const std::string& directory, const std::string& filter) {
    std::int64_t nTotal = 0;
    for (const std::string& path : vdxFindFile(directory.c_str(), filter.c_str(), true)) {
        const std::int64_t nSize = pathFileSizei64(path);
        std::printf("%12lld  %-6s %s\n", static_cast<long long>(nSize), pathGetFileExtension(path).c_str(),
                    path.c_str());
        if (nSize > 0) nTotal += nSize;
    }
    std::printf("%12lld  bytes in all\n", static_cast<long long>(nTotal));
    return nTotal;
}

}  // namespace

int main(int nArguments, char** ppArguments) {
    const std::string filter = nArguments > 2 ? ppArguments[2] : "*.txt;*.log;-~*";
    if (nArguments > 1) {
        list(pathGetAbsolutePath(ppArguments[1], vdxGetCurrentDirectory()), filter);
        return EXIT_SUCCESS;
    }
    const std::string sample =
        pathAppend(vdxGetTempDirectory(), "find_files-" + std::to_string(vdxGetCurrentProcessId()));
    const bool bRight =
        makeSample(sample) && list(sample, filter) == 2 * pathFileSizei64(vdxGetExeFileName());
    return pathRemoveDirectory(sample) && bRight ? EXIT_SUCCESS : EXIT_FAILURE;
}
