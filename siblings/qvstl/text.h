// Conversions between UTF-8 and the local narrow encoding.
#pragma once

#include <string>

namespace qv {

// Both directions are the identity: on every platform that we run on, file names
// and the environment are UTF-8 or plain bytes. The second argument names an
// encoding; an empty one the system's own, and no other is used.
inline std::string string_ascii_to_utf8(std::string text, const char*) {
    return text;
}
inline const std::string& string_utf8_to_ascii(const std::string& text, const char*) {
    return text;
}

}  // namespace qv
