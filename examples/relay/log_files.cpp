// Rotating logs that are taken up again after any end of the program.
#include "log_files.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

// Returns how many there are.
int closeGaps(const chFileTrace& log, int nFiles) {
    int nFound = 0;
    for (int i = 0; i < nFiles; ++i) {
        if (!pathFileExist(log.GetFileName(i))) continue;
        if (i != nFound) pathRenameFile(log.GetFileName(i), log.GetFileName(nFound));
        ++nFound;
    }
    return nFound;
}

void cutHalfLine(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::size_t nWhole = text.rfind('\n') + 1;  // 0 without any newline.
    std::error_code ignored;
    if (nWhole < text.size()) std::filesystem::resize_file(name, nWhole, ignored);
}

}  // namespace

void openLog(chFileTrace& log, const std::string& base, int nKiB, int nFiles) {
    log.OpenFileTrace(base, nKiB, nFiles);  // For the names.
    const int nFound = closeGaps(log, nFiles);
    if (nFound > 0) cutHalfLine(log.GetFileName(nFound - 1));
    log.OpenFileTrace(base, nKiB, nFiles);
}
