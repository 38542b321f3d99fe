// Rotating logs that are taken up again after any end of the program.
#include "log_files.h"

void openLog(chFileTrace& log, const std::string& base, int nKiB, int nFiles) {
    const auto fileName = [&](int nIndex) { return base + "-" + std::to_string(nIndex) + ".log"; };
    int nFound = 0;
    for (int i = 0; i < nFiles; ++i) {
        if (!pathFileExist(fileName(i))) continue;
        if (i != nFound) pathRenameFile(fileName(i), fileName(nFound));
        ++nFound;
    }
    log.OpenFileTrace(base, nKiB, nFiles);
}
