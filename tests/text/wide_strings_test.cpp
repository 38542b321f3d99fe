// Wide strings under the names of the C library.
#include <vdx/characters.h>

#include <algorithm>
#include <climits>
#include <numeric>

#include <gtest/gtest.h>

#include "support/guarded_buffer.h"
#include "text/wide_kernels.h"

namespace {

using WideBuffer = GuardedBuffer<wchar_t>;

// The results that the contract states, a unit at a time; at the last unit of nCount if there is no stop
// before.
int plainCompare(const wchar_t* szLeft, const wchar_t* szRight, int nCount, bool bFold) {
    const auto fold = [bFold](wchar_t c) { return bFold && c >= L'a' && c <= L'z' ? c - 32 : c; };
    for (; nCount > 1 && *szLeft != 0 && fold(*szLeft) == fold(*szRight); --nCount, ++szLeft)
        ++szRight;
    return static_cast<int>(static_cast<unsigned>(*szLeft) - static_cast<unsigned>(*szRight));
}

void expectAllCompare(const wchar_t* szLeft, const wchar_t* szRight, int nStop) {
    for (const int nCount : {INT_MIN, -1, 0, 1, 2, nStop / 2, nStop, nStop + 1, nStop + 2, INT_MAX}) {
        const int nUpTo = plainCompare(szLeft, szRight, nCount, false);
        ASSERT_EQ(wcsncmp(szLeft, szRight, nCount), nUpTo) << nStop;
        ASSERT_EQ(wcsncasecmp(szLeft, szRight, nCount), plainCompare(szLeft, szRight, nCount, true)) << nStop;
        for (const vdx::WideKernels* pKernels : vdx::getAllWideKernels()) {
            const auto nLast = static_cast<std::size_t>(std::max(nCount, 1)) - 1;
            ASSERT_EQ(pKernels->pCompareUpTo(szLeft, szRight, nLast), nUpTo) << nStop;
        }
    }
    const int nAll = plainCompare(szLeft, szRight, INT_MAX, false);
    ASSERT_EQ(wcscmp(szLeft, szRight), nAll) << nStop;
    ASSERT_EQ(wcscasecmp(szLeft, szRight), plainCompare(szLeft, szRight, INT_MAX, true)) << nStop;
    for (const vdx::WideKernels* pKernels : vdx::getAllWideKernels())
        ASSERT_EQ(pKernels->pCompare(szLeft, szRight), nAll) << nStop;
}

// Both texts end at a page's end; they differ, or the right one ends, at any place.
TEST(WideCompare, EveryWayAtEveryLengthAndPlaceUpToAGuardPage) {
    WideBuffer lefts(1200), rights(1200);
    for (std::size_t nLength = 0; nLength < 1100; nLength += 1 + nLength / 70) {
        std::wstring left(nLength, L'a');
        std::iota(left.begin(), left.end(), L'A');
        const wchar_t* const szLeft = lefts.copyOf({left.c_str(), nLength + 1});
        for (std::size_t nStop = 0; nStop <= nLength; nStop += 1 + nStop / 70) {
            std::wstring right = left;
            if (nStop < nLength) right[nStop] ^= 32;
            if (nStop % 3 == 0) right.resize(nStop);
            const wchar_t* const szRight = rights.copyOf({right.c_str(), right.size() + 1});
            expectAllCompare(szLeft, szRight, static_cast<int>(nStop));
        }
    }
}

TEST(WideCompare, DifferencesAreUnsignedAndOfTheUnitsAsTheyStand) {
    // Not const: a compiler may know the C library's answer for constants, and give that.
    wchar_t high[] = {static_cast<wchar_t>(0x80000000), 0};
    wchar_t one[] = {1, 0};
    EXPECT_EQ(wcscmp(high, one), 0x7FFFFFFF);
    EXPECT_EQ(wcscmp(one, high), -0x7FFFFFFF);
    EXPECT_EQ(wcscasecmp(L"aB", L"Ac"), L'B' - L'c');
    EXPECT_EQ(wcscasecmp(L"\u00E9", L"\u00C9"), 0x20) << "only ASCII folds";
    EXPECT_EQ(wcsncmp(L"b", L"a", 0), 1) << "the first units are compared even then";
    EXPECT_EQ(wcsncmp(L"b", L"a", std::size_t{0}), 0) << "a size_t count is the C library's";
}

TEST(WideKernels, EveryWayCopiesEveryLengthUpToTheGuardPageAndBeforeIt) {
    WideBuffer sources(400), targets(200);
    for (const vdx::WideKernels* pKernels : vdx::getAllWideKernels()) {
        for (std::size_t nLength = 0; nLength <= 130; ++nLength) {
            for (std::size_t nBehind = 0; nBehind <= 40; ++nBehind) {
                const std::wstring text = std::wstring(nLength, L'x') + std::wstring(nBehind + 1, L'\0');
                wchar_t* const pTarget = targets.copyOf(std::wstring(nLength + 1, L'-'));
                pKernels->pCopy(pTarget, sources.copyOf(text));
                ASSERT_EQ(std::wstring(pTarget, nLength + 1), text.substr(0, nLength + 1)) << nBehind;
            }
        }
    }
    wchar_t text[8] = L"ab";
    EXPECT_EQ(wcscat(text, L"cd"), text);
    EXPECT_EQ(wcscpy(text + 4, L"ef"), text + 4);
    EXPECT_EQ(std::wstring(text), L"abcdef");
}

TEST(WideCopy, CountedCopyAlwaysTerminatesAndNeverPads) {
    for (const int nCount : {INT_MIN, -1, 0, 1, 2, 3, 4, 10, INT_MAX}) {
        wchar_t target[] = L".......";
        WideBuffer source(4);
        EXPECT_EQ(wcsncpy(target, source.copyOf({L"abc", 4}), nCount), target);
        const std::size_t nCopied = static_cast<std::size_t>(std::clamp(nCount, 0, 3));
        EXPECT_EQ(std::wstring(target), std::wstring(L"abc", nCopied)) << nCount;
        EXPECT_EQ(target[nCopied + 1], L'.') << nCount;
    }
}

TEST(WidePlaceholders, ConvertNothing) {
    char narrow[4] = "abc";
    wchar_t wide[4] = L"abc";
    EXPECT_EQ(wcstombs(narrow, L"x", 4), -1);
    EXPECT_EQ(mbstowcs(wide, "x", 4), -1);
    EXPECT_EQ(x_mbtowc(wide, "x", 4), -1);
    EXPECT_EQ(x_wcstol(L"7", nullptr, 10), -1);
    EXPECT_EQ(x_wcstod(L"7", nullptr), -1.0);
    EXPECT_EQ(x_swscanf(L"7", L"%d", nullptr), -1);
    EXPECT_TRUE(narrow[0] == 'a' && wide[0] == L'a');
}

}  // namespace
