// Messages that always reach the console, whatever the trace level.
#pragma once

#include <string>

#include <vdx/export.h>

// Lets the compiler check the arguments of a function that formats: the places, counted from 1, of the
// format and of its first argument (0: a va_list).
#if defined(__GNUC__)
#define VDX_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#else
// Nothing for other compilers.
#define VDX_PRINTF_FORMAT(fmt, args)
#endif

// Colours: a text whose second and third characters are "E:" is written with
// these two in red, one with "W:" in yellow ("[E:] disk full"); any other text
// is written as it is. Every text is ended with a newline and flushed. A text
// ends at its first zero byte. errno is left as it was.
//
// Example:
//   vdxOutputWarningString("%s: %d entries dropped", szName, nDropped);
//
// Thread-safety: all functions. A line is written in one piece.

// Writes "[W:] seconds.microseconds (process:task) text" to standard error; the
// time is the boot clock's. The trace output is not involved.
VDX_API void vdxOutputWarningString(const char* szFormat, ...) VDX_PRINTF_FORMAT(1, 2);

// Writes a formatted text to standard error or standard output. The text is cut
// after 4095 bytes.
VDX_API void consolePrintf(bool bToStderr, const char* szFormat, ...) VDX_PRINTF_FORMAT(2, 3);

// Writes a finished text of any length to standard error or standard output.
VDX_API void consoleWriteString(bool bToStderr, const std::string& text);

// Writes a formatted text of any length to standard output.
VDX_API void vdxOutputDebugString(const char* szFormat, ...) VDX_PRINTF_FORMAT(1, 2);

// A second name of vdxOutputDebugString.
VDX_API void simpTRACE(const char* szFormat, ...) VDX_PRINTF_FORMAT(1, 2);
