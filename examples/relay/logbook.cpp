// The relay's book: numbered lines in rotating logs, from run to run.
#include "logbook.h"

#include <cstdlib>
#include <fstream>

#include "log_files.h"

namespace {

constexpr int FILE_KIB = 16;
constexpr int FILES = 3;

std::string lineText(std::int64_t nLine) {
    return "line " + std::to_string(nLine) + " of the relay's book, kept for a while";
}

// The number of a line; -1 for one that the book did not write.
std::int64_t lineNumber(const std::string& line) {
    const std::vector<std::string> words = vdxGetWords(line);
    const std::int64_t nLine = words.size() > 1 ? std::atoll(words[1].c_str()) : -1;
    return line == lineText(nLine) ? nLine : -1;
}

}  // namespace

Logbook::Logbook(const Folders& folders) {
    openLog(m_book, pathAppend(folders.log, "book"), FILE_KIB, FILES);
    m_found = readFiles();
    m_nNext = m_found.nNext;
}

void Logbook::write(int nLines) {
    const std::string newest = m_book.GetFileName(FILES - 1);
    for (int i = 0; i < nLines; ++i) {
        const int nBefore = pathFileSize(newest);
        m_book.WriteLogLine(lineText(m_nNext++));
        if (pathFileSize(newest) < nBefore) ++m_nRotations;
    }
}

Logbook::Content Logbook::readFiles() const {
    Content content;
    for (; pathFileExist(m_book.GetFileName(content.nFiles)); ++content.nFiles) {
        const std::string name = m_book.GetFileName(content.nFiles);
        std::ifstream file(name);
        int nLines = 0;
        for (std::string line; std::getline(file, line); ++nLines) {
            const std::int64_t nLine = lineNumber(line);
            if (content.nNext == 0) content.nFirst = content.nNext = nLine;
            content.bWithoutGap = content.bWithoutGap && nLine >= 0 && nLine == content.nNext;
            content.nNext = nLine + 1;
        }
        // A file may exceed its limit by one line, and by one byte for each line.
        const auto nLongest = static_cast<int>(lineText(content.nNext).size());
        content.bWithinLimits =
            content.bWithinLimits && pathFileSize(name) - nLines < FILE_KIB * 1024 + nLongest;
    }
    return content;
}

void Logbook::check(Report& report) const {
    const Content content = readFiles();
    report.show("lines of the book found at the start", m_found.nNext - m_found.nFirst);
    report.require("  without a gap", m_found.bWithoutGap);
    report.expect("  log files kept at the end", content.nFiles, FILES);
    report.require("  each within its limit", content.bWithinLimits);
    report.show("  files rotated", m_nRotations);
    report.show("  lines on the disk", content.nNext - content.nFirst);
    report.require("  the newest ones, without a gap", content.bWithoutGap && content.nNext == m_nNext);
}
