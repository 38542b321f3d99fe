// Whether a text is plain ASCII.
#pragma once

#include <string>

namespace qv {

// True when every byte is below 0x80; true for an empty text.
bool string_is_ascii_string(const std::string& text);

}  // namespace qv
