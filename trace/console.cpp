// Coloured lines on the console.
#include "trace/console.h"

#include "base/errno_saver.h"
#include "siblings/pmrfile/write_through.h"

namespace vdx {

namespace {

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
    writeThrough(pFile, {head, text, "\n"});
}

}  // namespace vdx
