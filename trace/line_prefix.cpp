// What stands before the text of every trace line.
#include "trace/line_prefix.h"

#include <vdx/platform.h>
#include <vdx/time.h>

#include "siblings/qvstl/format.h"

namespace vdx {

void appendLinePrefix(std::string& out, const char* szModule) {
    const chLocalTime local;
    const chTick boot = chTimer::GetTickFromBoot();
    out += qv::format_astring("[%s+%d:%d] %.2d-%.2d %.2d:%.2d:%.2d.%.3d %u.%.6d ",
                              szModule && *szModule ? szModule : "D:Who?", vdxGetCurrentProcessId(),
                              static_cast<int>(vdxGetCurrentTaskId()), local.wMonth, local.wDay, local.wHour,
                              local.wMinute, local.wSecond, local.wMilliseconds,
                              static_cast<unsigned int>(boot.seconds), boot.microseconds);
}

}  // namespace vdx
