// A text that usually needs no memory of its own.
#pragma once

#include <cstddef>
#include <string_view>

namespace qv {

// Grows as text is appended. The first bytes lie in the object: a line costs no allocation, and can be made
// when there is no memory. A longer text is cut where memory ends; nothing is thrown.
class text_buffer {
public:
    text_buffer() = default;
    ~text_buffer() {
        if (m_pText != m_inline) delete[] m_pText;
    }
    text_buffer(const text_buffer&) = delete;
    text_buffer& operator=(const text_buffer&) = delete;

    std::string_view view() const { return {m_pText, m_nSize}; }
    std::size_t size() const { return m_nSize; }

    // The text with a zero byte behind it; without memory for that, the last byte gives way.
    const char* c_str();

    void append(std::string_view text);
    void append(char c) {
        if (m_nSize < m_nCapacity || grow(m_nSize + 1)) m_pText[m_nSize++] = c;
    }
    // Shortens the text to so many bytes.
    void resize(std::size_t nSize) { m_nSize = nSize; }

    // Room for at least so many bytes behind the text, or for what there is memory; said in `nRoom`. What
    // was written there becomes text by `resize`.
    char* reserve(std::size_t nMore, std::size_t& nRoom);

private:
    bool grow(std::size_t nSize);

    char* m_pText = m_inline;
    std::size_t m_nSize = 0;
    std::size_t m_nCapacity = sizeof m_inline;
    char m_inline[512];
};

}  // namespace qv
