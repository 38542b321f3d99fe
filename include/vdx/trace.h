// Trace lines that pass a level test, and fatal errors.
#pragma once

#include <string>

#include <vdx/export.h>
#include <vdx/warnings.h>

// A message of level L passes when L is not greater than the level of the
// process; by default everything passes. Levels: 3 errors, 4 warnings, 5
// notices, 6 information, 7 debug, 9 object dumps. The test comes before the
// formatting: a suppressed message costs no formatting.
//
// A line that passes is written by the process's output method with the prefix
//   [module+process:task] month-day hour:minute:second.millisecond boot-seconds.microseconds
//
// Example:
//   vdxModuleTrace(6, "M:Relay", "%d clients", nClients);
//   vdxTrace(7, "read %d bytes", nBytes);
//
// Thread-safety: all functions. errno is left as it was. A line that the output
// cannot take is lost without notice.

// Traces a text without module: the prefix says "D:Who?".
VDX_API void vdxTrace(int nLevel, const char* szFormat, ...) VDX_PRINTF_FORMAT(2, 3);
VDX_API void vdxTrace(int nLevel, const std::string& text);

// Traces a text with a module: by convention a level letter, a colon and a
// name. A module that starts with "E:" or "W:" is coloured on a console.
VDX_API void vdxModuleTrace(int nLevel, const char* szModule, const char* szFormat, ...)
    VDX_PRINTF_FORMAT(3, 4);
VDX_API void vdxModuleTrace(int nLevel, const char* szModule, const std::string& text);

// Traces at level 7.
VDX_API void tracePrintf(const char* szFormat, ...) VDX_PRINTF_FORMAT(1, 2);

// Traces `name = "value"` or `name = address` at level 9. A character array or
// `const char*` counts as an address: wrap it in a std::string to see its text.
VDX_API void vdxTraceObject(const std::string& name, const std::string& value);
VDX_API void vdxTraceObject(const std::string& name, const void* pValue);

// Writes "[W:] file(line): boot time (process:task)" followed directly by the
// text to standard error, and hands the same line, without a prefix, to the
// trace output unless that is the console or nothing. No level test.
VDX_API void vdxWarningMessage(const char* szFile, int nLine, const char* szFormat, ...)
    VDX_PRINTF_FORMAT(3, 4);

// As vdxWarningMessage, with "[E:]"; then writes the call stack to standard
// error and ends the process by vdxAbort. Never returns: an error message is
// for states that must not continue.
[[noreturn]] VDX_API void vdxErrorMessage(const char* szFile, int nLine, const char* szFormat, ...)
    VDX_PRINTF_FORMAT(3, 4);

// The letter of a level: 3 "E", 4 "W", 5 "N", 6 "I", 7 "D", 8 "I", 9 "T"; "I"
// for every other number. The text is static.
VDX_API const char* translateToLevelChar(int nLevel);
