// Coloured lines on the console.
#pragma once

#include <cstdio>
#include <string_view>

namespace vdx {

// Writes a line with the colours that <vdx/warnings.h> describes, ends it with a
// newline and flushes: one write per line. The text ends at its first zero byte.
void writeConsoleLine(std::FILE* pFile, std::string_view text);

}  // namespace vdx
