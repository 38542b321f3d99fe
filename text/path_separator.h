// What separates the parts of a path.
#pragma once

#include <string_view>

namespace vdx {

// The one place to change on a platform that has more of them.
inline constexpr std::string_view PATH_SEPARATORS = "/";

constexpr bool isPathSeparator(char c) {
    return PATH_SEPARATORS.find(c) != std::string_view::npos;
}

}  // namespace vdx
