// The option texts of tracing.
#include <vdx/words.h>

#include <string>
#include <vector>

#include "siblings/qvstl/number.h"
#include "trace/trace_state.h"

namespace vdx {

namespace {

struct MethodWord {
    const char* szWord;
    chTraceOption::Method method;
};

constexpr MethodWord METHOD_WORDS[] = {
    {"stdout", chTraceOption::METHOD_CONSOLE}, {"console", chTraceOption::METHOD_CONSOLE},
    {"share", chTraceOption::METHOD_SHARE},    {"system", chTraceOption::METHOD_SHARE},
    {"null", chTraceOption::METHOD_NULL},      {"log", chTraceOption::METHOD_FILE},
};

}  // namespace

void applyTraceOption(const char* szText, chTraceOption& option, chFileTrace* pFile) {
    if (!szText || !*szText) return;
    const std::vector<std::string> fields = vdxTextBreak(szText, ":");
    storeLevel(option, qv::string_to_int(fields[0]));
    if (fields.size() < 2) return;
    for (const MethodWord& word : METHOD_WORDS) {
        if (fields[1] != word.szWord) continue;
        storeMethod(option, word.method);
        if (word.method != chTraceOption::METHOD_FILE || !pFile) return;
        const auto field = [&](std::size_t i) { return i < fields.size() ? fields[i] : std::string(); };
        pFile->OpenFileTrace(field(2), qv::string_to_int(field(3)), qv::string_to_int(field(4)));
    }
}

}  // namespace vdx
