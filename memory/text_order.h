// The order in which named records are kept.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace vdx {

// A text to be compared with many others. The order is total and chosen for speed: by length, then by
// the last eight bytes as a number of this machine, which tell most names apart, then by the bytes from
// the front, eight at a time. Good for finding, not for showing.
class TextKey {
public:
    explicit TextKey(std::string_view text) : m_text(text), m_nTail(tailOf(text.data(), text.size())) {}

    // Below 0, 0 or above 0.
    int compare(std::string_view other) const {
        if (m_text.size() != other.size()) return m_text.size() < other.size() ? -1 : 1;
        const std::uint64_t nTail = tailOf(other.data(), other.size());
        if (m_nTail != nTail) return m_nTail < nTail ? -1 : 1;
        return m_text.size() <= 8 ? 0 : compareFronts(other.data());
    }

private:
    template <class Word>
    static Word load(const char* p) {
        Word word;
        std::memcpy(&word, p, sizeof word);
        return word;
    }
    // Of a text below eight bytes all of them.
    static std::uint64_t tailOf(const char* p, std::size_t n) {
        if (n >= 8) return load<std::uint64_t>(p + n - 8);
        if (n >= 4) return std::uint64_t{load<std::uint32_t>(p)} << 32 | load<std::uint32_t>(p + n - 4);
        if (n == 0) return 0;
        return static_cast<std::uint64_t>(static_cast<unsigned char>(p[0])) << 16 |
               static_cast<std::uint64_t>(static_cast<unsigned char>(p[n / 2])) << 8 |
               static_cast<unsigned char>(p[n - 1]);
    }
    // What lies before the last eight bytes; the last word may reach into them.
    int compareFronts(const char* pOther) const {
        for (std::size_t i = 0; i + 8 < m_text.size(); i += 8) {
            const auto nMine = load<std::uint64_t>(m_text.data() + i);
            const auto nOther = load<std::uint64_t>(pOther + i);
            if (nMine != nOther) return nMine < nOther ? -1 : 1;
        }
        return 0;
    }

    std::string_view m_text;
    std::uint64_t m_nTail;
};

inline int compareTexts(std::string_view left, std::string_view right) {
    return TextKey(left).compare(right);
}

}  // namespace vdx
