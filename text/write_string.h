// Strings written in place, without being filled with zeros first.
#pragma once

#include <cstddef>
#include <string>

namespace vdx {

// The string of which `write(pOut)` writes at most nMost characters at pOut and returns how many.
template <typename CHAR, typename WRITE>
std::basic_string<CHAR> writeString(std::size_t nMost, WRITE write) {
    std::basic_string<CHAR> str;
#ifdef __cpp_lib_string_resize_and_overwrite
    str.resize_and_overwrite(nMost, [&](CHAR* pOut, std::size_t) { return write(pOut); });
#else
    str.resize(nMost);  // Slower: without C++23 there is no way round the zeros.
    str.resize(write(str.data()));
#endif
    return str;
}

}  // namespace vdx
