// A look through real files: walking, filters, paths and words.
#include "survey.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include <vdx/vdx.h>

namespace {

constexpr int FILES_READ = 200;

// The same walk, entry by entry; each folder once, however many links lead to it.
std::int64_t countByHand(const std::string& folder, const chFileFilter& filter,
                         std::set<std::string>& visited) {
    std::error_code ignored;
    if (!visited.insert(std::filesystem::canonical(folder, ignored).string()).second) return 0;
    std::int64_t nFiles = 0;
    chPathWalker walker(folder);
    for (std::string name; walker.ReadFileName(name);) {
        const std::string path = pathAppend(folder, name);
        if (filter.IsDenyFileName(name)) continue;
        if (pathDirectoryExist(path)) {
            nFiles += countByHand(path, filter, visited);
        } else if (filter.IsAcceptFileName(name)) {
            ++nFiles;
        }
    }
    return nFiles;
}

std::size_t countWords(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return vdxGetWords(std::string(std::istreambuf_iterator<char>(file), {})).size();
}

std::string listed(const std::map<std::string, int>& counts) {
    std::string text;
    for (const auto& [name, nCount] : counts)
        text += (text.empty() ? "" : ", ") + name + " " + std::to_string(nCount);
    return text;
}

}  // namespace

void runSurvey(const Options& options, Report& report) {
    const std::string folder = pathGetAbsolutePath(options.survey, vdxGetCurrentDirectory());
    const chTickTimer timer;
    const std::list<std::string> files = vdxFindFile(folder.c_str(), options.filter.c_str(), true);
    const std::uint32_t nMicroseconds = timer.GetMicrosecond();

    std::map<std::string, int> byExtension;
    std::set<std::string> topEntries;
    std::size_t nWords = 0;
    int nRead = 0;
    for (const std::string& path : files) {
        ++byExtension[pathGetFileExtension(path)];
        topEntries.insert(pathGetFirstPart(path.substr(folder.size())));
        if (nRead < FILES_READ && pathFileSizei64(path) < 100'000) {
            nWords += countWords(path);
            ++nRead;
        }
    }
    std::set<std::string> visited;
    report.show("files below " + folder, static_cast<std::int64_t>(files.size()));
    report.show("  milliseconds to find them", static_cast<std::int64_t>(mathRound(nMicroseconds / 1000.0)));
    report.show("  by extension", listed(byExtension));
    report.show("  entries at the top", static_cast<std::int64_t>(topEntries.size()));
    report.show("  words in " + std::to_string(nRead) + " of them", static_cast<std::int64_t>(nWords));
    report.expect("  counted again by hand", countByHand(folder, chFileFilter(options.filter), visited),
                  static_cast<std::int64_t>(files.size()));
}
