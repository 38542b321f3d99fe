// Texts of stack frames.
#include "trace/symbol_text.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include <vdx/node_alloc.h>

namespace vdx {

namespace {

constexpr std::size_t ARENA_SIZE = 65'536;
constexpr std::size_t LINE_LIMIT = 1023;

// The readable name of a symbol, or the symbol.
std::string demangled(const std::string& symbol) {
    int nStatus = 0;
    char* pName = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &nStatus);
    std::string name = nStatus == 0 && pName ? pName : symbol;
    std::free(pName);
    return name;
}

// Start and end of the fourth field, if a blank follows it; else npos.
std::pair<std::size_t, std::size_t> fourthField(std::string_view text) {
    constexpr auto NONE = std::string_view::npos;
    std::size_t nStart = 0;
    for (int i = 0; i < 3; ++i) {
        nStart = text.find(' ', nStart);
        if (nStart == NONE) return {NONE, NONE};
        nStart = text.find_first_not_of(' ', nStart);
        if (nStart == NONE) return {NONE, NONE};
    }
    return {nStart, text.find(' ', nStart)};
}

// Start and end of a mangled symbol in brackets; else npos.
std::pair<std::size_t, std::size_t> bracketedSymbol(std::string_view text) {
    constexpr auto NONE = std::string_view::npos;
    const std::size_t nBracket = text.rfind("(_Z");
    if (nBracket == NONE) return {NONE, NONE};
    return {nBracket + 1, text.find_first_of("+-)", nBracket)};
}

}  // namespace

std::string demangleFrame(std::string_view text) {
    constexpr auto NONE = std::string_view::npos;
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    std::string result;
    if (const auto [nStart, nEnd] = fourthField(text); nStart != NONE && nEnd != NONE) {
        const std::string symbol(text.substr(nStart, nEnd - nStart));
        result = std::string(text.substr(0, nStart - 1)) + ": " + demangled(symbol) + ' ';
        result += text.substr(nEnd + 1);
    } else if (const auto [nFirst, nLast] = bracketedSymbol(text); nFirst != NONE && nLast != NONE) {
        result =
            std::string(text.substr(0, nFirst)) + demangled(std::string(text.substr(nFirst, nLast - nFirst)));
        result += text.substr(nLast);
    } else {
        return std::string(text);
    }
    if (result.size() > LINE_LIMIT) result.resize(LINE_LIMIT);
    return result;
}

FrameTexts::FrameTexts(void* const* pAddresses, int nCount)
    : m_pArena(static_cast<char*>(baseDymicAlloc::alloc(static_cast<int>(ARENA_SIZE)))) {
    char** pTexts = m_pArena ? backtrace_symbols(pAddresses, nCount) : nullptr;
    if (!pTexts) return;
    try {
        for (int i = 0; i < nCount; ++i)
            add(demangleFrame(pTexts[i]));
    } catch (const std::bad_alloc&) {
        // The frames so far.
    }
    std::free(pTexts);
}

FrameTexts::~FrameTexts() {
    baseDymicAlloc::free(m_pArena);
}

void FrameTexts::add(std::string_view text) {
    const std::size_t nRoom = ARENA_SIZE - m_nUsed;
    if (text.empty() || nRoom < 2 || m_nCount == MAX_FRAMES) return;
    text = text.substr(0, nRoom - 1);
    char* pText = m_pArena + m_nUsed;
    std::memcpy(pText, text.data(), text.size());
    pText[text.size()] = 0;
    m_nUsed += text.size() + 1;
    m_texts[m_nCount++] = pText;
}

}  // namespace vdx
