// Whether a text is plain ASCII.
#include "siblings/qvstl/ascii.h"

#include <cstdint>
#include <cstring>

namespace qv {

bool string_is_ascii_string(const std::string& text) {
    const char* p = text.data();
    std::size_t nLeft = text.size();
    for (; nLeft >= 8; nLeft -= 8, p += 8) {
        std::uint64_t nBytes;
        std::memcpy(&nBytes, p, sizeof nBytes);
        if ((nBytes & 0x8080808080808080u) != 0) return false;
    }
    for (; nLeft > 0; --nLeft, ++p)
        if ((static_cast<unsigned char>(*p) & 0x80u) != 0) return false;
    return true;
}

}  // namespace qv
