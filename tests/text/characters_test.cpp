// Character classes, UTF-8 and the small byte functions.
#include <vdx/characters.h>

#include <cctype>
#include <climits>
#include <numeric>

#include <gtest/gtest.h>

namespace {

TEST(Characters, ClassesAgreeWithAsciiForEveryByteAndBeyond) {
    for (int c = -300; c <= 400; ++c) {
        SCOPED_TRACE(c);
        const bool bAscii = c >= 0 && c < 128;
        EXPECT_EQ(chIsDigit(c), bAscii && std::isdigit(c) ? 1 : 0);
        EXPECT_EQ(chIsAlpha(c), bAscii && std::isalpha(c) ? 1 : 0);
        EXPECT_EQ(chIsWhiteSpace(c), c == 9 || c == 10 || c == 13 || c == 32);
        EXPECT_EQ(chIsPathSeparator(c), c == '/');
        EXPECT_EQ(chUpper(c), bAscii ? std::toupper(c) : c);
        EXPECT_EQ(chLower(c), bAscii ? std::tolower(c) : c);
        EXPECT_EQ(chReverse(c), bAscii && std::islower(c) ? std::toupper(c) : chLower(c));
    }
    for (const int c : {INT_MIN, INT_MAX, 0x141, INT_MIN + 'A'}) {
        SCOPED_TRACE(c);
        EXPECT_FALSE(chIsAlpha(c));
        EXPECT_EQ(chUpper(c), c);
        EXPECT_EQ(chReverse(c), c);
    }
}

TEST(Characters, HexadecimalDigitsForEveryByte) {
    for (int c = CHAR_MIN; c <= CHAR_MAX; ++c) {
        EXPECT_EQ(chIsDigit16(static_cast<char>(c)), c > 0 && std::isxdigit(c) ? 1 : 0) << c;
    }
}

TEST(Characters, ClassTablesInOrder) {
    const std::string lower = "abcdefghijklmnopqrstuvwxyz";
    const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    EXPECT_EQ(getTabDigit10(), "0123456789");
    EXPECT_EQ(getTabDigit16(), "0123456789abcdefABCDEF");
    EXPECT_EQ(getTabWhiteSpace(), " \t\r\n");
    EXPECT_EQ(getTabPathSeparator(), "/");
    EXPECT_EQ(getTabAlphaLower(), lower);
    EXPECT_EQ(getTabAlphaUpper(), upper);
    EXPECT_EQ(getTabAlphaAll(), lower + upper);
    EXPECT_EQ(&getTabDigit16(), &getTabDigit16()) << "one table a process";
}

struct Utf8Case {
    const char* szLabel;
    std::string text;
    int nWord;
    int nOccupied;  // What the string form of chUTF8Inc appends.
    int nAdvance;   // By the pointer forms; 0 where the sequence is cut short.
};

const Utf8Case UTF8_CASES[] = {
    {"empty", "", 0, 0, 0},
    {"zero byte", std::string(1, '\0'), 0, 1, 1},
    {"ASCII", "a\xC3\xA9", 'a', 1, 1},
    {"two bytes", "\xC3\xA9", 0xE9, 2, 2},
    {"three bytes", "\xE2\x82\xACx", 0x20AC, 3, 3},
    {"highest of three", "\xEF\xBF\xBF", 0xFFFF, 3, 3},
    {"four bytes", "\xF0\x9F\x98\x80", '?', 1, 1},
    {"continuation first", "\x80z", '?', 1, 1},
    {"byte FF", "\xFF", '?', 1, 1},
    {"two bytes, one there", "\xC3", '?', 1, 0},
    {"three bytes, two there", "\xE2\x82", '?', 1, 0},
    {"continuation unchecked",
     "\xC3"
     "AB",
     0xC1, 2, 2},
};

TEST(Utf8, DecodesStepsAndCounts) {
    for (const Utf8Case& row : UTF8_CASES) {
        SCOPED_TRACE(row.szLabel);
        EXPECT_EQ(chUTF8Word(row.text), row.nWord);
        std::string appended = row.text;
        EXPECT_EQ(chUTF8Inc(appended), row.nWord);
        EXPECT_EQ(appended, row.text + static_cast<char>(row.nOccupied));
        if (row.nAdvance == 0) continue;
        const char* pNext = row.text.data();
        EXPECT_EQ(chUTF8Word(pNext), row.nWord);
        EXPECT_EQ(pNext - row.text.data(), row.nAdvance);
        const char* pStepped = chUTF8Inc(row.text.data());
        EXPECT_EQ(pStepped, row.text[0] ? row.text.data() + row.nAdvance : nullptr);
    }
}

TEST(Utf8, StepsBackOverContinuationBytes) {
    const struct {
        const char* szLabel;
        std::string text;
        int nFrom;
        int nTo;  // -1: none.
    } rows[] = {
        {"at the start", "a", 0, -1},
        {"one byte", "a", 1, 0},
        {"three bytes", "a\xE2\x82\xAC", 4, 1},
        {"only continuations", "\x80\x80", 2, -1},
        {"four bytes", "\xF0\x9F\x98\x80", 4, 0},
        {"inside a sequence", "\xE2\x82\xAC", 2, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const char* pBegin = row.text.data();
        EXPECT_EQ(chUTF8Dec(pBegin, pBegin + row.nFrom), row.nTo < 0 ? nullptr : pBegin + row.nTo);
    }
}

TEST(SwapBytes, ReversesAnyCount) {
    for (int nBytes = -1; nBytes <= 70; ++nBytes) {
        SCOPED_TRACE(nBytes);
        unsigned char bytes[72];
        std::iota(std::begin(bytes), std::end(bytes), static_cast<unsigned char>(1));
        vdxSwapBytes(bytes, nBytes);
        for (int i = 0; i < 72; ++i) {
            EXPECT_EQ(bytes[i], i < nBytes ? nBytes - i : i + 1) << i;
        }
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
    EXPECT_STREQ(buffer, "12-abcd");
    for (const int nSize : {0, -1, INT_MIN}) {
        EXPECT_EQ(printTo(buffer, nSize, "%s", "zzz"), 3);
        EXPECT_STREQ(buffer, "12-abcd");
    }
    wchar_t wide[4] = L"...";
    EXPECT_EQ(printTo(wide, 4, L"x"), -1);
    EXPECT_EQ(wide[0], L'.');
}

}  // namespace
