// Where the parts of a path begin and end.
#pragma once

#include <cstring>
#include <string_view>

#include "text/path_separator.h"

namespace vdx {

// The first separator at nFrom or after it, or the end.
// Requires: nFrom <= path.size().
inline std::size_t findSeparator(std::string_view path, std::size_t nFrom) {
    while (nFrom < path.size() && !isPathSeparator(path[nFrom]))
        ++nFrom;
    return nFrom;
}

// The place after the last separator; 0 without one.
inline std::size_t fileNameBegin(std::string_view path) {
    std::size_t nBegin = path.size();
    while (nBegin > 0 && !isPathSeparator(path[nBegin - 1]))
        --nBegin;
    return nBegin;
}

// The last part, separators after it skipped.
inline std::string_view lastPart(std::string_view path) {
    while (!path.empty() && isPathSeparator(path.back()))
        path.remove_suffix(1);
    return path.substr(fileNameBegin(path));
}

// See pathRemoveLastPart. Where the path has no character before its last part the
// count of what stays would be -1: the path stays whole.
inline std::string_view withoutLastPart(std::string_view path) {
    const std::size_t nLast = lastPart(path).size();
    if (nLast == 0 || nLast >= path.size()) return path;
    return path.substr(0, path.size() - nLast - 1);
}

}  // namespace vdx
