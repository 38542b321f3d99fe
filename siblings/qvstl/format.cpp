// printf-style formatting into strings.
#include "siblings/qvstl/format.h"

#include <cstdio>

#include "base/errno_saver.h"

namespace qv {

void append_format_v(std::string& text, const char* szFormat, va_list args) {
    const vdx::ErrnoSaver saver;
    char buffer[512];
    va_list again;
    va_copy(again, args);
    const int nLength = std::vsnprintf(buffer, sizeof buffer, szFormat, args);
    if (nLength > 0) {
        const auto nSize = static_cast<std::size_t>(nLength);
        if (nSize < sizeof buffer) {
            text.append(buffer, nSize);
        } else {
            const std::size_t nBefore = text.size();
            errno = saver.value();
            text.resize(nBefore + nSize);
            std::vsnprintf(text.data() + nBefore, nSize + 1, szFormat, again);
        }
    }
    va_end(again);
}

std::string format_string_v(const char* szFormat, va_list args) {
    std::string text;
    append_format_v(text, szFormat, args);
    return text;
}

std::string format_astring(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    std::string text = format_string_v(szFormat, args);
    va_end(args);
    return text;
}

}  // namespace qv
