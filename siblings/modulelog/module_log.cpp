// The module log.
#include "siblings/modulelog/module_log.h"

#include <cstdarg>
#include <iterator>
#include <mutex>

#include "base/errno_saver.h"
#include "base/fork_hooks.h"
#include "siblings/modulelog/system_log.h"
#include "siblings/qvstl/format.h"

namespace vdx {

namespace {

struct Sink {
    ModuleLogSink pFunction;
    void* pContext;
};

// Neither is ever destroyed: a module may report until the process ends.
using SinkMutex = ForkMutex<ForkOrder::ModuleLog>;
constinit Sink s_sink{};

Sink currentSink() {
    const std::lock_guard guard(SinkMutex::get());
    return s_sink;
}

}  // namespace

const char* moduleLogLevelName(int nLevel) {
    static constexpr const char* NAMES[] = {"trace", "debug", "info", "warning", "error", "critical"};
    return nLevel >= 0 && nLevel < static_cast<int>(std::size(NAMES)) ? NAMES[nLevel] : "off";
}

void setModuleLogSink(ModuleLogSink pSink, void* pContext) {
    const std::lock_guard guard(SinkMutex::get());
    s_sink = {pSink, pContext};
}

}  // namespace vdx

void SpdLog_ModuleTrace(vdx::ModuleLogLevel level, const std::string& module, const char* szFormat, ...) {
    if (level == vdx::ModuleLogLevel::Off) return;
    const vdx::ErrnoSaver saver;
    va_list args;
    va_start(args, szFormat);
    qv::text_buffer text;
    qv::append_format_v(text, szFormat, args);
    va_end(args);
    const vdx::Sink sink = vdx::currentSink();
    if (sink.pFunction) {
        sink.pFunction(static_cast<int>(level), module.c_str(), text.c_str(), sink.pContext);
    } else {
        qv::text_buffer line;
        line.append('[');
        line.append(module);
        line.append("] ");
        line.append(text.view());
        vdx::writeSystemLog(line.c_str());
    }
}
