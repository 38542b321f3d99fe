// A text that usually needs no memory of its own.
#include "siblings/qvstl/text_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace qv {

bool text_buffer::grow(std::size_t nSize) {
    const std::size_t nCapacity = std::max(nSize, m_nCapacity * 2);
    char* pText = new (std::nothrow) char[nCapacity];
    if (pText == nullptr) return false;
    std::memcpy(pText, m_pText, m_nSize);
    if (m_pText != m_inline) delete[] m_pText;
    m_pText = pText;
    m_nCapacity = nCapacity;
    return true;
}

char* text_buffer::reserve(std::size_t nMore, std::size_t& nRoom) {
    if (m_nCapacity - m_nSize < nMore) (void)grow(m_nSize + nMore);
    nRoom = m_nCapacity - m_nSize;
    return m_pText + m_nSize;
}

const char* text_buffer::c_str() {
    if (m_nSize == m_nCapacity && !grow(m_nSize + 1)) --m_nSize;
    m_pText[m_nSize] = '\0';
    return m_pText;
}

void text_buffer::append(std::string_view text) {
    std::size_t nRoom = 0;
    char* pEnd = reserve(text.size(), nRoom);
    const std::size_t nTaken = std::min(text.size(), nRoom);
    if (nTaken != 0) std::memcpy(pEnd, text.data(), nTaken);
    m_nSize += nTaken;
}

}  // namespace qv
