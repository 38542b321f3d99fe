// The module log: where the library's own records of its modules go.
#pragma once

#include <string>

namespace vdx {

// The levels of the module log, named by moduleLogLevelName.
enum class ModuleLogLevel : int { Trace, Debug, Info, Warning, Error, Critical, Off };

// "trace", "debug", "info", "warning", "error", "critical", "off"; "off" for any
// other number. The text is static.
const char* moduleLogLevelName(int nLevel);

// Receives a level, a module, a finished text and the context given with it.
using ModuleLogSink = void (*)(int nLevel, const char* szModule, const char* szText, void* pContext);

// Where the lines go from now on; null: to the system log as "[module] text".
void setModuleLogSink(ModuleLogSink pSink, void* pContext);

}  // namespace vdx

// Formats a line of a module and hands it to the sink. A line of level Off is not
// written. Leaves errno as it was.
//
// Thread-safety: yes; the sink is called on the caller's thread, without a lock.
__attribute__((format(printf, 3, 4))) void SpdLog_ModuleTrace(vdx::ModuleLogLevel level,
                                                              const std::string& module, const char* szFormat,
                                                              ...);
