// Texts of stack frames.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vdx {

// A frame's text as the platform gives it, with the symbol in it demangled. Two forms
// are known: four fields or more, the fourth the symbol ("0 app 0x1 _Zf + 4"), and the
// symbol in brackets ("app(_Zf+0x4) [0x1]"). Any other text stays as it is.
std::string demangleFrame(std::string_view text);

// The texts of return addresses, kept in one arena of 64 KiB.
class FrameTexts {
public:
    static constexpr int MAX_FRAMES = 256;

    FrameTexts(void* const* pAddresses, int nCount);
    ~FrameTexts();
    FrameTexts(const FrameTexts&) = delete;
    FrameTexts& operator=(const FrameTexts&) = delete;

    int count() const { return m_nCount; }
    const char* operator[](int i) const { return m_texts[i]; }

private:
    void add(std::string_view text);

    char* m_pArena;
    std::size_t m_nUsed = 0;
    const char* m_texts[MAX_FRAMES];
    int m_nCount = 0;
};

}  // namespace vdx
