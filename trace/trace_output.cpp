// What stands behind the trace functions: the level test and the making of lines.
#include "trace/trace_output.h"

#include <cerrno>

#include "base/errno_saver.h"
#include "siblings/qvstl/format.h"
#include "trace/line_prefix.h"

namespace vdx {

namespace {

// One line on its way: its prefix, then what `appendText` adds.
template <class AppendText>
void traceLine(int nLevel, const char* szModule, AppendText appendText) {
    constexpr std::size_t USUAL_LINE = 256;
    const ErrnoSaver saver;
    chTraceOption& option = processOption();
    if (nLevel > effectiveLevel(option) || effectiveMethod(option) == chTraceOption::METHOD_NULL) return;
    selectOutput();
    const int nBefore = TraceNesting::depth();
    if (nBefore == TraceNesting::INSIDE_TWICE) return;
    const TraceNesting nesting(nBefore + 1);
    std::string line;
    line.reserve(USUAL_LINE);
    appendLinePrefix(line, szModule);
    errno = saver.value();  // For a %m in the text.
    appendText(line);
    writeTraceLine(nBefore, line);
}

}  // namespace

[[gnu::cold]] chTraceOption& makeProcessOption() {
    const ErrnoSaver saver;
    return *uCTraceHelper::getInstance()->GetProcessTraceOption();
}

void traceText(int nLevel, const char* szModule, const std::string& text) {
    traceLine(nLevel, szModule, [&](std::string& line) { line += text; });
}

void traceFormatted(int nLevel, const char* szModule, const char* szFormat, va_list args) {
    traceLine(nLevel, szModule, [&](std::string& line) { qv::append_format_v(line, szFormat, args); });
}

void traceConsoleCopy(const std::string& line) {
    const std::uint32_t nMethod = effectiveMethod(processOption());
    if (nMethod == chTraceOption::METHOD_CONSOLE || nMethod == chTraceOption::METHOD_NULL) return;
    uCTraceHelper::getInstance()->TraceConstString(line);
}

bool writeTraceLine(int nNestingBefore, const std::string& line) {
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    if (nNestingBefore != TraceNesting::OUTSIDE) return pHelper->TraceToConsole(line);
    switch (g_traceState.nOutput.load(std::memory_order_relaxed)) {
        case chTraceOption::METHOD_CONSOLE:
            return pHelper->TraceToConsole(line);
        case chTraceOption::METHOD_FILE:
            return pHelper->TraceToFileTrace(line);
        case chTraceOption::METHOD_SHARE:
            return pHelper->TraceToShareMemory(line);
        default:
            return false;
    }
}

}  // namespace vdx
