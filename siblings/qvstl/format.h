// printf-style formatting into texts.
#pragma once

#include <cstdarg>
#include <string>

#include "siblings/qvstl/text_buffer.h"

namespace qv {

// Appends the formatted text, of any length; nothing when the format cannot be applied. Leaves errno
// as it was; a %m in the format sees it. The plain conversions of most messages are done here, all others
// by the C library.
__attribute__((format(printf, 2, 0))) void append_format_v(text_buffer& text, const char* szFormat,
                                                           va_list args);

// The same for a list of arguments.
__attribute__((format(printf, 2, 3))) void append_format(text_buffer& text, const char* szFormat, ...);

// The formatted text as a string.
__attribute__((format(printf, 1, 0))) std::string format_string_v(const char* szFormat, va_list args);
__attribute__((format(printf, 1, 2))) std::string format_astring(const char* szFormat, ...);

}  // namespace qv
