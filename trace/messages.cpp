// Trace lines that pass a level test, and fatal errors.
#include <vdx/trace.h>

#include <cerrno>
#include <cstdarg>

#include <vdx/platform.h>
#include <vdx/stack_trace.h>
#include <vdx/time.h>

#include "base/errno_saver.h"
#include "siblings/qvstl/format.h"
#include "trace/console.h"
#include "trace/trace_output.h"

namespace {

constexpr int LEVEL_DEBUG = 7;
constexpr int LEVEL_OBJECT = 9;

// What warnings and errors say: where, when and who, then the text.
void appendMessage(qv::text_buffer& line, const char* szTag, const char* szFile, int nLine,
                   const char* szFormat, va_list args) __attribute__((format(printf, 5, 0)));
void appendMessage(qv::text_buffer& line, const char* szTag, const char* szFile, int nLine,
                   const char* szFormat, va_list args) {
    const vdx::ErrnoSaver saver;
    const chTick now = chTimer::GetTickFromBoot();
    qv::append_format(line, "[%s] %s(%d): %u.%.6d (%d:%d)", szTag, szFile ? szFile : "", nLine,
                      static_cast<unsigned int>(now.seconds), now.microseconds, vdxGetCurrentProcessId(),
                      static_cast<int>(vdxGetCurrentTaskId()));
    errno = saver.value();  // For a %m in the text.
    qv::append_format_v(line, szFormat, args);
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
    if (vdx::isTraceSuppressed(LEVEL_OBJECT)) return;
    const vdx::ErrnoSaver saver;
    qv::text_buffer text;
    for (const std::string_view part :
         {std::string_view(name), std::string_view(" = \""), std::string_view(value)})
        text.append(part);
    text.append('"');
    vdx::traceText(LEVEL_OBJECT, nullptr, text.view());
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
    qv::text_buffer line;
    appendMessage(line, "W:", szFile, nLine, szFormat, args);
    va_end(args);
    vdx::writeConsoleLine(stderr, line.view());
    vdx::traceConsoleCopy(line.view());
}

[[gnu::noinline]] void vdxErrorMessage(const char* szFile, int nLine, const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    qv::text_buffer line;
    appendMessage(line, "E:", szFile, nLine, szFormat, args);
    va_end(args);
    vdx::writeConsoleLine(stderr, line.view());
    consoleWriteString(true, vdxReadStack(-1));
    vdx::traceConsoleCopy(line.view());
    vdxAbort();
}

const char* translateToLevelChar(int nLevel) {
    static constexpr const char* LETTERS[] = {"E", "W", "N", "I", "D", "I", "T"};
    return nLevel >= 3 && nLevel <= 9 ? LETTERS[nLevel - 3] : "I";
}
