// printf-style formatting into texts.
#include "siblings/qvstl/format.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include "base/errno_saver.h"

namespace qv {

namespace {

// Handed on by reference, which a va_list alone is on some platforms only.
struct Arguments {
    va_list list;
};

template <class Number>
void appendNumber(text_buffer& text, Number nValue) {
    char digits[24];
    const char* pEnd = std::to_chars(digits, digits + sizeof digits, nValue).ptr;
    text.append({digits, static_cast<std::size_t>(pEnd - digits)});
}

template <class Signed, class Unsigned>
bool appendInteger(text_buffer& text, char c, Arguments& args) {
    if (c == 'd' || c == 'i') {
        appendNumber(text, va_arg(args.list, Signed));
    } else if (c == 'u') {
        appendNumber(text, va_arg(args.list, Unsigned));
    } else {
        return false;
    }
    return true;
}

void appendText(text_buffer& text, const char* sz) {
    text.append(sz ? sz : "(null)");
}

// One conversion without flags, width and precision; p stands behind its "%". False for all others.
bool appendConversion(text_buffer& text, const char*& p, Arguments& args) {
    switch (const char c = *p++) {
        case 's':
            appendText(text, va_arg(args.list, const char*));
            return true;
        case 'c':
            text.append(static_cast<char>(va_arg(args.list, int)));
            return true;
        case '%':
            text.append('%');
            return true;
        case 'l':
            if (*p != 'l') return appendInteger<long, unsigned long>(text, *p++, args);
            ++p;
            return appendInteger<long long, unsigned long long>(text, *p++, args);
        case 'z':
            return *p++ == 'u' && (appendNumber(text, va_arg(args.list, std::size_t)), true);
        default:
            return appendInteger<int, unsigned int>(text, c, args);
    }
}

// False, and the text as it was, for a format with other conversions than the plain ones.
bool appendPlain(text_buffer& text, const char* szFormat, Arguments& args) {
    const std::size_t nBefore = text.size();
    for (const char* p = szFormat;;) {
        const char* pPercent = std::strchr(p, '%');
        if (pPercent == nullptr) {
            text.append(p);
            return true;
        }
        text.append({p, static_cast<std::size_t>(pPercent - p)});
        p = pPercent + 1;
        if (appendConversion(text, p, args)) continue;
        text.resize(nBefore);
        return false;
    }
}

__attribute__((format(printf, 2, 0))) void appendAny(text_buffer& text, const char* szFormat, va_list args) {
    va_list again;
    va_copy(again, args);
    const int nErrno = errno;
    const std::size_t nBefore = text.size();
    std::size_t nRoom = 0;
    char* pEnd = text.reserve(0, nRoom);
    const int nLength = std::vsnprintf(pEnd, nRoom, szFormat, args);
    std::size_t nTaken = nLength > 0 ? static_cast<std::size_t>(nLength) : 0;
    if (nTaken >= nRoom) {
        pEnd = text.reserve(nTaken + 1, nRoom);
        errno = nErrno;
        (void)std::vsnprintf(pEnd, nRoom, szFormat, again);
        if (nTaken >= nRoom) nTaken = nRoom == 0 ? 0 : nRoom - 1;
    }
    text.resize(nBefore + nTaken);
    va_end(again);
}

}  // namespace

void append_format_v(text_buffer& text, const char* szFormat, va_list args) {
    const vdx::ErrnoSaver saver;
    Arguments copy;
    va_copy(copy.list, args);
    const bool bDone = appendPlain(text, szFormat, copy);
    va_end(copy.list);
    if (bDone) return;
    errno = saver.value();
    appendAny(text, szFormat, args);
}

void append_format(text_buffer& text, const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    append_format_v(text, szFormat, args);
    va_end(args);
}

std::string format_string_v(const char* szFormat, va_list args) {
    text_buffer text;
    append_format_v(text, szFormat, args);
    return std::string(text.view());
}

std::string format_astring(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    std::string text = format_string_v(szFormat, args);
    va_end(args);
    return text;
}

}  // namespace qv
