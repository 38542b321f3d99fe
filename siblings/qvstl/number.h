// Numbers in texts.
#pragma once

#include <algorithm>
#include <limits>
#include <string_view>

namespace qv {

// The decimal number at the start of a text, after white space and one sign; 0 when
// there is none. What follows it is ignored; too large ones give the limit of int.
inline int string_to_int(std::string_view text) {
    constexpr std::string_view SPACES = " \t\r\n\v\f";
    text.remove_prefix(std::min(text.find_first_not_of(SPACES), text.size()));
    const bool bNegative = !text.empty() && text[0] == '-';
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) text.remove_prefix(1);
    constexpr long long MAX = std::numeric_limits<int>::max();
    long long nValue = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        nValue = nValue * 10 + (c - '0');
        if (nValue > MAX)
            return bNegative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    }
    return static_cast<int>(bNegative ? -nValue : nValue);
}

}  // namespace qv
