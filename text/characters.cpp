// Character classes and case.
#include <vdx/characters.h>

#include <algorithm>
#include <cstdio>

#include "base/no_destructor.h"
#include "text/path_separator.h"

namespace {

constexpr int CASE_BIT = 0x20;

constexpr bool inRange(int c, int nFirst, int nLast) {
    return nFirst <= c && c <= nLast;
}

// All characters between the two ends of each pair: "09af" gives "0123456789abcdef".
std::string buildRanges(std::string_view pairs) {
    std::string text;
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
        for (char c = pairs[i]; c <= pairs[i + 1]; ++c)
            text += c;
    }
    return text;
}

}  // namespace

int chIsDigit(int c) {
    return inRange(c, '0', '9');
}

int chIsDigit16(char c) {
    return inRange(c, '0', '9') || inRange(c, 'a', 'f') || inRange(c, 'A', 'F');
}

int chIsWhiteSpace(int c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

int chIsPathSeparator(int c) {
    return inRange(c, 0, 0x7F) && vdx::isPathSeparator(static_cast<char>(c));
}

int chIsAlpha(int c) {
    return inRange(c & ~CASE_BIT, 'A', 'Z');
}

int chUpper(int c) {
    return inRange(c, 'a', 'z') ? c - CASE_BIT : c;
}

int chLower(int c) {
    return inRange(c, 'A', 'Z') ? c + CASE_BIT : c;
}

int chReverse(int c) {
    return chIsAlpha(c) ? c ^ CASE_BIT : c;
}

const std::string& getTabDigit10() {
    static vdx::NoDestructor<std::string> s_table(buildRanges("09"));
    return s_table.get();
}

const std::string& getTabDigit16() {
    static vdx::NoDestructor<std::string> s_table(buildRanges("09afAF"));
    return s_table.get();
}

const std::string& getTabWhiteSpace() {
    static vdx::NoDestructor<std::string> s_table(" \t\r\n");
    return s_table.get();
}

const std::string& getTabPathSeparator() {
    static vdx::NoDestructor<std::string> s_table(vdx::PATH_SEPARATORS);
    return s_table.get();
}

const std::string& getTabAlphaAll() {
    static vdx::NoDestructor<std::string> s_table(buildRanges("azAZ"));
    return s_table.get();
}

const std::string& getTabAlphaLower() {
    static vdx::NoDestructor<std::string> s_table(buildRanges("az"));
    return s_table.get();
}

const std::string& getTabAlphaUpper() {
    static vdx::NoDestructor<std::string> s_table(buildRanges("AZ"));
    return s_table.get();
}

void vdxSwapBytes(void* pBytes, int nBytes) {
    if (nBytes < 2) return;
    auto* pFirst = static_cast<unsigned char*>(pBytes);
    std::reverse(pFirst, pFirst + nBytes);
}

int chVsprintf(char* pBuffer, int nSize, const char* szFormat, va_list args) {
    return std::vsnprintf(pBuffer, static_cast<std::size_t>(std::max(nSize, 0)), szFormat, args);
}

int chVsprintf(wchar_t* pBuffer, int nSize, const wchar_t* szFormat, va_list args) {
    return vswprintf(pBuffer, nSize, szFormat, args);
}
