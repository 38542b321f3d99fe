// What stands before the text of every trace line.
#pragma once

#include <string>

namespace vdx {

// Appends "[module+process:task] month-day hour:minute:second.millisecond
// seconds.microseconds " (local time, then boot clock). A null or empty module is
// "D:Who?".
void appendLinePrefix(std::string& out, const char* szModule);

}  // namespace vdx
