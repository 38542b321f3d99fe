// Trace lines that pass a level test, and fatal errors.
#include <vdx/trace.h>

#include <cstdarg>

#include <vdx/platform.h>
#include <vdx/stack_trace.h>
#include <vdx/time.h>

#include "base/errno_saver.h"
#include "siblings/qvstl/format.h"
#include "trace/trace_output.h"

namespace {

constexpr int LEVEL_DEBUG = 7;
constexpr int LEVEL_OBJECT = 9;

std::string messageLine(const char* szTag, const char* szFile, int nLine, const char* szFormat, va_list args)
    __attribute__((format(printf, 4, 0)));
std::string messageLine(const char* szTag, const char* szFile, int nLine, const char* szFormat,
                        va_list args) {
    const std::string text = qv::format_string_v(szFormat, args);
    const chTick now = chTimer::GetTickFromBoot();
    return qv::format_astring("[%s] %s(%d): %u.%.6d (%d:%d)", szTag, szFile ? szFile : "", nLine,
                              static_cast<unsigned int>(now.seconds), now.microseconds,
                              vdxGetCurrentProcessId(), static_cast<int>(vdxGetCurrentTaskId())) +
           text;
}

}  // namespace

void vdxTrace(int nLevel, const char* szFormat, ...) {
    if (vdx::isTraceSuppressed(nLevel)) return;
    va_list args;
    va_start(args, szFormat);
    vdx::traceFormatted(nLevel, nullptr, szFormat, args);
    va_end(args);
}

void vdxTrace(int nLevel, const std::string& text) {
    if (!vdx::isTraceSuppressed(nLevel)) vdx::traceText(nLevel, nullptr, text);
}

void vdxModuleTrace(int nLevel, const char* szModule, const char* szFormat, ...) {
    if (vdx::isTraceSuppressed(nLevel)) return;
    va_list args;
    va_start(args, szFormat);
    vdx::traceFormatted(nLevel, szModule, szFormat, args);
    va_end(args);
}

void vdxModuleTrace(int nLevel, const char* szModule, const std::string& text) {
    if (!vdx::isTraceSuppressed(nLevel)) vdx::traceText(nLevel, szModule, text);
}

void tracePrintf(const char* szFormat, ...) {
    if (vdx::isTraceSuppressed(LEVEL_DEBUG)) return;
    va_list args;
    va_start(args, szFormat);
    vdx::traceFormatted(LEVEL_DEBUG, nullptr, szFormat, args);
    va_end(args);
}

void vdxTraceObject(const std::string& name, const std::string& value) {
    if (!vdx::isTraceSuppressed(LEVEL_OBJECT))
        vdx::traceText(LEVEL_OBJECT, nullptr, name + " = \"" + value + '"');
}

// The precision asks for at least eight digits; the C standard leaves it open for
// %p, which the compiler remarks upon, and the C libraries here define it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
void vdxTraceObject(const std::string& name, const void* pValue) {
    vdxTrace(LEVEL_OBJECT, "%s = %.8p", name.c_str(), pValue);
}
#pragma GCC diagnostic pop

void vdxWarningMessage(const char* szFile, int nLine, const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    va_list args;
    va_start(args, szFormat);
    const std::string line = messageLine("W:", szFile, nLine, szFormat, args);
    va_end(args);
    consoleWriteString(true, line);
    vdx::traceConsoleCopy(line);
}

[[gnu::noinline]] void vdxErrorMessage(const char* szFile, int nLine, const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    const std::string line = messageLine("E:", szFile, nLine, szFormat, args);
    va_end(args);
    consoleWriteString(true, line);
    consoleWriteString(true, vdxReadStack(-1));
    vdx::traceConsoleCopy(line);
    vdxAbort();
}

const char* translateToLevelChar(int nLevel) {
    static constexpr const char* LETTERS[] = {"E", "W", "N", "I", "D", "I", "T"};
    return nLevel >= 3 && nLevel <= 9 ? LETTERS[nLevel - 3] : "I";
}
