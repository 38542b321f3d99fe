// What stands behind the trace functions: the level test and the output.
#pragma once

#include <string>

namespace vdx {

// Whether a message of this level is written at all.
bool traceLevelPasses(int nLevel);

// Writes a line with its prefix by the process's output method.
void traceText(const char* szModule, const std::string& text);

// Writes a line without a prefix by the process's output method, unless that is
// the console, where the caller has written it already, or nothing.
void traceConsoleCopy(const std::string& line);

}  // namespace vdx
