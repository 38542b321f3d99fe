// What stands behind the trace functions: the level test and the output.
#pragma once

#include <cstdarg>
#include <string>

namespace vdx {

// Whether a message of this level is written at all.
bool traceLevelPasses(int nLevel);

// Writes a line with its prefix by the process's output method: a finished text, or a
// formatted one.
void traceText(const char* szModule, const std::string& text);
void traceFormatted(const char* szModule, const char* szFormat, va_list args)
    __attribute__((format(printf, 2, 0)));

// Writes a line without a prefix by the process's output method, unless that is
// the console, where the caller has written it already, or nothing.
void traceConsoleCopy(const std::string& line);

// Writes a line by the output selected last; to the console where the thread was
// inside the tracing code already (TraceNesting).
bool writeTraceLine(int nNestingBefore, const std::string& line);

}  // namespace vdx
