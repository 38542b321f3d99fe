// The call stack as text, and tracers of scopes.
#include <vdx/stack_trace.h>

#include <execinfo.h>
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <new>
#include <string_view>

#include <vdx/trace_helper.h>

#include "base/errno_saver.h"
#include "siblings/qvstl/format.h"
#include "trace/console.h"
#include "trace/symbol_text.h"
#include "trace/trace_output.h"

using vdx::FrameTexts;

namespace {

// The frames that are asked for, less the first.
template <class Use>
void forEachFrame(const FrameTexts& texts, int nDepth, Use use) {
    const unsigned int nEnd =
        std::min(static_cast<unsigned int>(texts.count()), static_cast<unsigned int>(nDepth));
    for (unsigned int i = 1; i < nEnd; ++i)
        use(texts[static_cast<int>(i)]);
}

// The name in a function's signature; with the parameters, or without.
std::string_view scopeName(const char* szFunction, bool bWithParameters) {
    const std::string_view function = szFunction ? szFunction : "";
    const std::size_t nOpen = function.find('(');
    if (nOpen == std::string_view::npos) return {};
    const std::size_t nBlank = function.substr(0, nOpen).rfind(' ');
    const std::size_t nStart = nBlank == std::string_view::npos ? 0 : nBlank + 1;
    std::size_t nEnd = nOpen;
    if (bWithParameters) {
        const std::size_t nClose = function.find(')', nOpen);
        nEnd = nClose == std::string_view::npos ? function.size() : nClose + 1;
    }
    return function.substr(nStart, nEnd - nStart);
}

template <std::size_t SIZE>
void copyName(char (&szName)[SIZE], std::string_view name) {
    szName[name.copy(szName, SIZE - 1)] = 0;
}

bool hasText(const char* szFormat) {
    return szFormat && *szFormat;
}

// Two blanks a level. A depth that wrapped below 0 has none.
void appendIndent(qv::text_buffer& line, std::uint32_t nDepth) {
    for (std::uint32_t i = 0; nDepth < 0x80000000U && i < nDepth; ++i)
        line.append("  ");
}

// Kept: not blanks, but 32 characters of this code.
void appendOddIndent(qv::text_buffer& line, int nDepth) {
    for (int i = 0; i < 32; ++i)
        line.append(static_cast<char>(static_cast<unsigned char>(2U * static_cast<unsigned int>(nDepth))));
}

void appendOpening(qv::text_buffer& line, const char* szName, const char* szFormat, va_list args) {
    line.append("{ ");
    line.append(szName);
    if (hasText(szFormat)) qv::append_format_v(line, szFormat, args);
}

int stepDepth(int nStep) {
    return std::atomic_ref<int>(simpStackTracer::getDepth()).fetch_add(nStep, std::memory_order_relaxed);
}

}  // namespace

// Each takes the addresses itself, so that frame 0 is the function that was called.
[[gnu::noinline]] std::string vdxReadStack(int nDepth) try {
    const vdx::ErrnoSaver saver;
    void* addresses[FrameTexts::MAX_FRAMES];
    const FrameTexts texts(addresses, backtrace(addresses, FrameTexts::MAX_FRAMES));
    qv::text_buffer result;
    forEachFrame(texts, nDepth, [&](const char* szText) {
        result.append(szText);
        result.append('\n');
    });
    return std::string(result.view());
} catch (const std::bad_alloc&) {
    return {};
}

[[gnu::noinline]] void vdxDumpStack(int nDepth) {
    const vdx::ErrnoSaver saver;
    void* addresses[FrameTexts::MAX_FRAMES];
    const FrameTexts texts(addresses, backtrace(addresses, FrameTexts::MAX_FRAMES));
    forEachFrame(texts, nDepth, [](const char* szText) { vdx::writeConsoleLine(stderr, szText); });
}

chTraceStack::chTraceStack(int nLevel, const char* szFunction, const char* szFormat, ...)
    : m_bEnabled(vdx::traceLevelPasses(nLevel)) {
    if (!m_bEnabled) return;
    const vdx::ErrnoSaver saver;
    copyName(m_szName, scopeName(szFunction, !hasText(szFormat)));
    qv::text_buffer line;
    appendIndent(line, uCTraceHelper::getInstance()->push_trace_level());
    va_list args;
    va_start(args, szFormat);
    appendOpening(line, m_szName, szFormat, args);
    va_end(args);
    vdx::traceText(vdx::ANY_LEVEL, nullptr, line.view());
}

chTraceStack::~chTraceStack() {
    if (!m_bEnabled) return;
    const vdx::ErrnoSaver saver;
    qv::text_buffer line;
    appendIndent(line, uCTraceHelper::getInstance()->pop_trace_level());
    line.append("} ");
    line.append(m_szName);
    vdx::traceText(vdx::ANY_LEVEL, nullptr, line.view());
}

int& simpStackTracer::getDepth() {
    static int s_nDepth = 0;
    return s_nDepth;
}

simpStackTracer::simpStackTracer(const char* szFunction, const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    copyName(m_szName, scopeName(szFunction, !hasText(szFormat)));
    qv::text_buffer line;
    appendOddIndent(line, stepDepth(1));
    va_list args;
    va_start(args, szFormat);
    appendOpening(line, m_szName, szFormat, args);
    va_end(args);
    vdx::writeConsoleLine(stdout, line.view());
}

simpStackTracer::~simpStackTracer() {
    const vdx::ErrnoSaver saver;
    qv::text_buffer line;
    appendOddIndent(line, stepDepth(-1) - 1);
    line.append("} ");
    line.append(m_szName);
    vdx::writeConsoleLine(stdout, line.view());
}
