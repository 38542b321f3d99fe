// Splitting texts into pieces and words.
#include <vdx/words.h>

#include <bitset>
#include <climits>
#include <string_view>

#include <vdx/characters.h>

namespace {

// Which bytes separate: one look-up a byte, however many separators there are.
class ByteSet {
public:
    explicit ByteSet(std::string_view members) {
        for (const char c : members)
            m_bits.set(static_cast<unsigned char>(c));
    }
    bool has(char c) const { return m_bits[static_cast<unsigned char>(c)]; }

private:
    std::bitset<UCHAR_MAX + 1> m_bits;
};

}  // namespace

std::vector<std::string> vdxTextBreak(const std::string& text, const std::string& separators) {
    const ByteSet cuts(separators);
    std::vector<std::string> pieces;
    std::size_t nBegin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!cuts.has(text[i])) continue;
        pieces.emplace_back(text, nBegin, i - nBegin);
        nBegin = i + 1;
    }
    if (nBegin < text.size()) pieces.emplace_back(text, nBegin);
    return pieces;
}

std::vector<std::string> vdxGetWords(const std::string& text) {
    std::vector<std::string> words;
    std::size_t i = 0;
    for (;;) {
        while (i < text.size() && chIsWhiteSpace(text[i]))
            ++i;
        if (i == text.size()) return words;
        const std::size_t nBegin = i;
        while (i < text.size() && !chIsWhiteSpace(text[i]))
            ++i;
        words.emplace_back(text, nBegin, i - nBegin);
    }
}
