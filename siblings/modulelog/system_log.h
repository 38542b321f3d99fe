// The platform's system log.
#pragma once

namespace vdx {

// Writes one text, as information, under the program's name.
void writeSystemLog(const char* szText);

}  // namespace vdx
