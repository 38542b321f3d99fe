// What stands before the text of every trace line.
#pragma once

#include "siblings/qvstl/text_buffer.h"

namespace vdx {

// Appends "[module+process:task] month-day hour:minute:second.millisecond
// seconds.microseconds " (local time, then boot clock). A null or empty module is
// "D:Who?".
void appendLinePrefix(qv::text_buffer& out, const char* szModule);

}  // namespace vdx
