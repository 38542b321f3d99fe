// printf-style formatting into strings.
#pragma once

#include <cstdarg>
#include <string>

namespace qv {

// The formatted text, of any length; empty when the format cannot be applied.
// Leaves errno as it was; a %m in the format sees it.
__attribute__((format(printf, 1, 0))) std::string format_string_v(const char* szFormat, va_list args);

// Appends it to a text instead.
__attribute__((format(printf, 2, 0))) void append_format_v(std::string& text, const char* szFormat,
                                                           va_list args);

// The same for a list of arguments.
__attribute__((format(printf, 1, 2))) std::string format_astring(const char* szFormat, ...);

}  // namespace qv
