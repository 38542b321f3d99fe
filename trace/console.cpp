// Coloured lines on the console.
#include "trace/console.h"

#include "base/errno_saver.h"

namespace vdx {

namespace {

void put(std::FILE* pFile, std::string_view text) {
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), pFile);  // Null must not be given.
}

// The coloured form of the first three characters; empty if they stay as they are.
std::string_view colouredHead(std::string_view text) {
    if (text.size() < 3 || text[2] != ':') return {};
    if (text[1] == 'E') return "[\x1b[1;31mE:\x1b[00m";
    if (text[1] == 'W') return "[\x1b[1;33mW:\x1b[00m";
    return {};
}

}  // namespace

void writeConsoleLine(std::FILE* pFile, std::string_view text) {
    const ErrnoSaver saver;
    text = text.substr(0, text.find('\0'));
    const std::string_view head = colouredHead(text);
    if (!head.empty()) text.remove_prefix(3);
    flockfile(pFile);
    put(pFile, head);
    put(pFile, text);
    put(pFile, "\n");
    std::fflush(pFile);
    funlockfile(pFile);
}

}  // namespace vdx
