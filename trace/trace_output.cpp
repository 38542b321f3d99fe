// What stands behind the trace functions: every level passes, to the console.
#include "trace/trace_output.h"

#include "trace/console.h"
#include "trace/line_prefix.h"

namespace vdx {

bool traceLevelPasses(int) {
    return true;
}

void traceText(const char* szModule, const std::string& text) {
    std::string line;
    appendLinePrefix(line, szModule);
    line += text;
    writeConsoleLine(stdout, line);
}

void traceConsoleCopy(const std::string&) {}

}  // namespace vdx
