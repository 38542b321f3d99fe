// The relay's rotating logs.
#include "logbook.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <vdx/vdx.h>

namespace {

constexpr int FILE_KIB = 16;
constexpr int FILES = 3;
constexpr int LINES = 2000;

std::string lineText(int nLine) {
    return "line " + std::to_string(nLine) + " of the relay's book, kept for a while";
}

// The number of a line; -1 for one that the book did not write.
int lineNumber(const std::string& line) {
    const std::vector<std::string> words = vdxGetWords(line);
    const int nLine = words.size() > 1 ? std::atoi(words[1].c_str()) : -1;
    return line == lineText(nLine) ? nLine : -1;
}

}  // namespace

void runLogbook(const Folders& folders, Report& report) {
    chFileTrace book;
    book.OpenFileTrace(pathAppend(folders.log, "book"), FILE_KIB, FILES);
    for (int i = 0; i < LINES; ++i)
        book.WriteLogLine(lineText(i));

    int nFiles = 0;
    bool bWithinLimits = true;
    std::vector<int> numbers;
    for (; pathFileExist(book.GetFileName(nFiles)); ++nFiles) {
        // A file may exceed its limit by one line, and by one byte for each line.
        bWithinLimits = bWithinLimits && pathFileSize(book.GetFileName(nFiles)) <= FILE_KIB * 1024 + LINES;
        std::ifstream file(book.GetFileName(nFiles));
        for (std::string line; std::getline(file, line);)
            numbers.push_back(lineNumber(line));
    }
    bool bWithoutGap = !numbers.empty() && numbers.back() == LINES - 1 && numbers.front() > 0;
    for (std::size_t i = 1; i < numbers.size(); ++i)
        bWithoutGap = bWithoutGap && numbers[i] == numbers[i - 1] + 1;
    report.expect("log files kept", nFiles, FILES);
    report.require("  each within its limit", bWithinLimits);
    report.require("  the newest lines, without a gap", bWithoutGap);
    report.show("  lines on the disk", static_cast<std::int64_t>(numbers.size()));
}
