// The digits of the codecs' alphabets and the values of all 256 characters in them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vdx {

inline constexpr std::string_view s_strBase16Digits = "0123456789ABCDEF";
inline constexpr std::string_view s_strBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value that stands for a character outside the alphabet.
inline constexpr std::uint8_t s_nForeign = 255;

using codecValueTable = std::array<std::uint8_t, 256>;

constexpr void setDigitValues(codecValueTable& table, std::string_view strDigits) {
    for (std::size_t i = 0; i < strDigits.size(); ++i)
        table[static_cast<std::uint8_t>(strDigits[i])] = static_cast<std::uint8_t>(i);
}

constexpr codecValueTable makeBase16Values() {
    codecValueTable table;
    table.fill(s_nForeign);
    setDigitValues(table, "0123456789abcdef");
    setDigitValues(table, s_strBase16Digits);
    return table;
}

constexpr codecValueTable makeBase64Values() {
    codecValueTable table;
    table.fill(s_nForeign);
    setDigitValues(table, s_strBase64Digits);
    return table;
}

inline constexpr codecValueTable s_base16Values = makeBase16Values();
inline constexpr codecValueTable s_base64Values = makeBase64Values();

inline std::uint8_t base16Value(char c) {
    return s_base16Values[static_cast<std::uint8_t>(c)];
}
inline std::uint8_t base64Value(char c) {
    return s_base64Values[static_cast<std::uint8_t>(c)];
}

}  // namespace vdx
