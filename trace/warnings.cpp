// Messages that always reach the console.
#include <vdx/warnings.h>

#include <cerrno>
#include <cstdarg>

#include <vdx/platform.h>
#include <vdx/time.h>

#include "base/errno_saver.h"
#include "siblings/qvstl/format.h"
#include "trace/console.h"

namespace {

std::FILE* stream(bool bToStderr) {
    return bToStderr ? stderr : stdout;
}

void writeDebugLine(const char* szFormat, va_list args) __attribute__((format(printf, 1, 0)));
void writeDebugLine(const char* szFormat, va_list args) {
    const vdx::ErrnoSaver saver;
    qv::text_buffer text;
    qv::append_format_v(text, szFormat, args);
    vdx::writeConsoleLine(stdout, text.view());
}

}  // namespace

void vdxOutputWarningString(const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    qv::text_buffer line;
    const chTick now = chTimer::GetTickFromBoot();
    qv::append_format(line, "[W:] %u.%.6d (%d:%d) ", static_cast<unsigned int>(now.seconds), now.microseconds,
                      vdxGetCurrentProcessId(), static_cast<int>(vdxGetCurrentTaskId()));
    errno = saver.value();  // For a %m in the text.
    va_list args;
    va_start(args, szFormat);
    qv::append_format_v(line, szFormat, args);
    va_end(args);
    vdx::writeConsoleLine(stderr, line.view());
}

void consolePrintf(bool bToStderr, const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    char buffer[4096] = "";
    va_list args;
    va_start(args, szFormat);
    std::vsnprintf(buffer, sizeof buffer, szFormat, args);
    va_end(args);
    vdx::writeConsoleLine(stream(bToStderr), buffer);
}

void consoleWriteString(bool bToStderr, const std::string& text) {
    vdx::writeConsoleLine(stream(bToStderr), text);
}

void vdxOutputDebugString(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    writeDebugLine(szFormat, args);
    va_end(args);
}

void simpTRACE(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    writeDebugLine(szFormat, args);
    va_end(args);
}
