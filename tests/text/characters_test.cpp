// Character classes, UTF-8, the small byte functions, splitting into pieces and words.
#include <vdx/characters.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <tuple>

#include <gtest/gtest.h>
#include <vdx/words.h>

#include "support/bytes.h"
#include "support/vectors.h"

using namespace std::string_literals;

namespace {

using Texts = std::vector<std::string>;

TEST(Characters, ClassesAgreeWithAsciiForEveryByteAndBeyond) {
    std::vector<int> all{INT_MIN, INT_MAX, INT_MIN + 'A', INT_MAX - 255 + 'a'};
    for (int c = -300; c <= 400; ++c)
        all.push_back(c);
    for (const int c : all) {
        SCOPED_TRACE(c);
        const int cAscii = c >= 0 && c < 128 ? c : 0;
        EXPECT_EQ(chIsDigit(c), std::isdigit(cAscii) ? 1 : 0);
        EXPECT_EQ(chIsAlpha(c), std::isalpha(cAscii) ? 1 : 0);
        EXPECT_EQ(chIsWhiteSpace(c), c == 9 || c == 10 || c == 13 || c == 32);
        EXPECT_EQ(chIsPathSeparator(c), c == '/');
        EXPECT_EQ(chUpper(c), std::islower(cAscii) ? c - 32 : c);
        EXPECT_EQ(chLower(c), std::isupper(cAscii) ? c + 32 : c);
        EXPECT_EQ(chReverse(c), std::isalpha(cAscii) ? c ^ 32 : c);
    }
    for (int c = CHAR_MIN; c <= CHAR_MAX; ++c)
        EXPECT_EQ(chIsDigit16(static_cast<char>(c)), c > 0 && std::isxdigit(c) ? 1 : 0) << c;
}

TEST(Characters, ClassTablesInOrder) {
    const std::string lower = "abcdefghijklmnopqrstuvwxyz", upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const Texts tables{getTabDigit10(),    getTabDigit16(),    getTabWhiteSpace(), getTabPathSeparator(),
                       getTabAlphaLower(), getTabAlphaUpper(), getTabAlphaAll()};
    EXPECT_EQ(tables,
              (Texts{"0123456789", "0123456789abcdefABCDEF", " \t\r\n", "/", lower, upper, lower + upper}));
}

// What the string form of chUTF8Inc appends, and how far the pointer forms go; back, to the byte before
// that continues none.
TEST(Utf8, DecodesCountsAndStepsBothWays) {
    auto rows = readVectors("utf8.vec");
    EXPECT_EQ(rows.size(), 11u);
    rows.push_back({"empty", "", "0", "0", "0"});
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0]);
        const std::string text = textOf(bytesOfHex(row[1]));
        const int nWord = std::stoi(row[2], nullptr, 16), nAdvance = std::stoi(row[4]);
        EXPECT_EQ(chUTF8Word(text), nWord);
        std::string appended = text;
        EXPECT_EQ(chUTF8Inc(appended), nWord);
        EXPECT_EQ(appended, text + static_cast<char>(std::stoi(row[3])));
        for (int nFrom = 0; nFrom <= static_cast<int>(text.size()); ++nFrom) {
            int nTo = nFrom - 1;
            while (nTo >= 0 && (text.data()[nTo] & 0xC0) == 0x80)
                --nTo;
            EXPECT_EQ(chUTF8Dec(text.data(), text.data() + nFrom), nTo < 0 ? nullptr : text.data() + nTo);
        }
        if (nAdvance == 0) continue;
        const char* pNext = text.data();
        EXPECT_EQ(chUTF8Word(pNext), nWord);
        EXPECT_EQ(pNext - text.data(), nAdvance);
        EXPECT_EQ(chUTF8Inc(text.data()), text[0] ? pNext : nullptr);
    }
}

TEST(SwapBytes, ReversesAnyCount) {
    const Bytes bytes = randomBytes(72);
    for (int nBytes = -1; nBytes <= 70; ++nBytes) {
        Bytes swapped = bytes;
        vdxSwapBytes(swapped.data(), nBytes);
        std::reverse(swapped.begin(), swapped.begin() + std::max(nBytes, 0));
        EXPECT_EQ(swapped, bytes) << nBytes;
    }
    vdxSwapBytes(nullptr, INT_MIN);
}

template <class Char>
int printTo(Char* pBuffer, int nSize, const Char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    const int nResult = chVsprintf(pBuffer, nSize, szFormat, args);
    va_end(args);
    return nResult;
}

TEST(Vsprintf, BoundedBySizeOfAnyValue) {
    char buffer[8] = ".......";
    EXPECT_EQ(printTo(buffer, 8, "%d-%s", 12, "abcdef"), 9);
    for (const int nSize : {0, -1, INT_MIN})
        EXPECT_EQ(printTo(buffer, nSize, "%s", "zzz"), 3);
    EXPECT_STREQ(buffer, "12-abcd");
    wchar_t wide[4] = L"...";
    EXPECT_EQ(printTo(wide, 4, L"x"), -1);
    EXPECT_EQ(wide[0], L'.');
}

TEST(TextBreak, CutsAtEverySeparator) {
    const std::tuple<std::string, std::string, Texts> rows[] = {
        {"", ";", {}},
        {"abc", "", {"abc"}},
        {";a;;b", ";", {"", "a", "", "b"}},
        {"a;;", ";", {"a", ""}},
        {"a,b;c\xFF", ",;\xFF", {"a", "b", "c"}},
        {"a\0b;"s, "\0"s, {"a", "b;"}},
    };
    for (const auto& [text, separators, pieces] : rows)
        EXPECT_EQ(vdxTextBreak(text, separators), pieces) << text;
}

TEST(GetWords, SplitsAtRunsOfWhiteSpace) {
    EXPECT_EQ(vdxGetWords(""), Texts{});
    EXPECT_EQ(vdxGetWords(" \t\r\n"), Texts{});
    EXPECT_EQ(vdxGetWords("  two \t words\r\n"), (Texts{"two", "words"}));
    EXPECT_EQ(vdxGetWords("a\vb\f\0 \xFF"s), (Texts{"a\vb\f\0"s, "\xFF"}));
}

}  // namespace
