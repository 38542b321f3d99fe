// Messages that always reach the console.
#include <vdx/warnings.h>

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
    vdx::writeConsoleLine(stdout, qv::format_string_v(szFormat, args));
}

}  // namespace

void vdxOutputWarningString(const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    va_list args;
    va_start(args, szFormat);
    const std::string text = qv::format_string_v(szFormat, args);
    va_end(args);
    const chTick now = chTimer::GetTickFromBoot();
    vdx::writeConsoleLine(
        stderr,
        qv::format_astring("[W:] %u.%.6d (%d:%d) ", static_cast<unsigned int>(now.seconds), now.microseconds,
                           vdxGetCurrentProcessId(), static_cast<int>(vdxGetCurrentTaskId())) +
            text);
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
