// What stands behind the trace functions: the level test and the output.
#pragma once

#include <cstdarg>
#include <limits>
#include <string_view>

#include "trace/trace_state.h"

namespace vdx {

// The pair of this process, made now.
chTraceOption& makeProcessOption();

inline chTraceOption& processOption() {
    chTraceOption* pOption = g_traceState.pProcess.load(std::memory_order_acquire);
    return pOption ? *pOption : makeProcessOption();
}

// Whether a message of this level is written at all.
inline bool traceLevelPasses(int nLevel) {
    return nLevel <= effectiveLevel(processOption());
}

// A quick answer to the same: true only if the message is surely not written. Makes
// nothing and calls nothing, so that a suppressed message costs next to nothing.
inline bool isTraceSuppressed(int nLevel) {
    chTraceOption* pOption = g_traceState.pProcess.load(std::memory_order_acquire);
    return __builtin_expect(pOption != nullptr, 1) && nLevel > effectiveLevel(*pOption);
}

// The level of lines that are written whatever the process's level.
inline constexpr int ANY_LEVEL = std::numeric_limits<int>::min();

// Writes a line with its prefix by the process's output method, if its level passes: a
// finished text, or a formatted one.
void traceText(int nLevel, const char* szModule, std::string_view text);
void traceFormatted(int nLevel, const char* szModule, const char* szFormat, va_list args)
    __attribute__((format(printf, 3, 0)));

// Writes a line without a prefix by the process's output method, unless that is
// the console, where the caller has written it already, or nothing.
void traceConsoleCopy(std::string_view line);

// Writes a line without a prefix by the process's output method. False when that is
// nothing, or cannot take the line.
bool traceUnchanged(std::string_view line);

class TraceOutput {
public:
    // Writes a line by an output; to the console where the thread was inside the tracing
    // code already (TraceNesting).
    static bool write(int nNestingBefore, std::uint32_t nOutput, std::string_view line);
};

}  // namespace vdx
