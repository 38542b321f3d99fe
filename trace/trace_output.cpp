// What stands behind the trace functions: the level test and the making of lines.
#include "trace/trace_output.h"

#include <cerrno>

#include "base/errno_saver.h"
#include "siblings/qvstl/format.h"
#include "trace/console.h"
#include "trace/line_prefix.h"

namespace vdx {

namespace {

// One line on its way: its prefix, then what `appendText` adds.
template <class AppendText>
void traceLine(int nLevel, const char* szModule, AppendText appendText) {
    const ErrnoSaver saver;
    chTraceOption& option = processOption();
    if (nLevel > effectiveLevel(option) || effectiveMethod(option) == chTraceOption::METHOD_NULL) return;
    const std::uint32_t nOutput = selectOutput(option);
    const int nBefore = TraceNesting::depth();
    if (nBefore == TraceNesting::INSIDE_TWICE) return;
    const TraceNesting nesting(nBefore + 1);
    qv::text_buffer line;
    appendLinePrefix(line, szModule);
    errno = saver.value();  // For a %m in the text.
    appendText(line);
    TraceOutput::write(nBefore, nOutput, line.view());
}

}  // namespace

void traceText(int nLevel, const char* szModule, std::string_view text) {
    traceLine(nLevel, szModule, [&](qv::text_buffer& line) { line.append(text); });
}

void traceFormatted(int nLevel, const char* szModule, const char* szFormat, va_list args) {
    traceLine(nLevel, szModule, [&](qv::text_buffer& line) { qv::append_format_v(line, szFormat, args); });
}

void traceConsoleCopy(std::string_view line) {
    const std::uint32_t nMethod = effectiveMethod(processOption());
    if (nMethod == chTraceOption::METHOD_CONSOLE || nMethod == chTraceOption::METHOD_NULL) return;
    traceUnchanged(line);
}

bool traceUnchanged(std::string_view line) {
    const ErrnoSaver saver;
    chTraceOption& option = processOption();
    if (effectiveMethod(option) == chTraceOption::METHOD_NULL) return false;
    const std::uint32_t nOutput = selectOutput(option);
    const int nBefore = TraceNesting::depth();
    if (nBefore == TraceNesting::INSIDE_TWICE) return false;
    const TraceNesting nesting(nBefore + 1);
    return TraceOutput::write(nBefore, nOutput, line);
}

bool TraceOutput::write(int nNestingBefore, std::uint32_t nOutput, std::string_view line) {
    if (nNestingBefore != TraceNesting::OUTSIDE) nOutput = chTraceOption::METHOD_CONSOLE;
    switch (nOutput) {
        case chTraceOption::METHOD_CONSOLE:
            writeConsoleLine(stdout, line);
            return true;
        case chTraceOption::METHOD_FILE:
            return uCTraceHelper::getInstance()->writeToFile(line);
        case chTraceOption::METHOD_SHARE:
            return uCTraceHelper::getInstance()->writeToShareMemory(line);
        default:
            return false;
    }
}

}  // namespace vdx
