// Wide strings under the names of the C library.
#include <vdx/characters.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/guarded_buffer.h"
#include "text/wide_kernels.h"

namespace {

using WideBuffer = GuardedBuffer<wchar_t>;

// Below, the results that the contract states, a unit at a time.
int unitDifference(wchar_t left, wchar_t right) {
    return static_cast<int>(static_cast<unsigned>(left) - static_cast<unsigned>(right));
}

int plainCompare(const wchar_t* szLeft, const wchar_t* szRight, long nCount, bool bFold) {
    long i = 0;
    const auto fold = [bFold](wchar_t c) { return bFold && c >= L'a' && c <= L'z' ? c - 32 : c; };
    while (i + 1 < nCount && szLeft[i] && fold(szLeft[i]) == fold(szRight[i]))
        ++i;
    return unitDifference(szLeft[i], szRight[i]);
}

TEST(WideCompare, EveryLengthPlaceAndAlignmentUpToAGuardPage) {
    for (int nLength = 0; nLength <= 70; ++nLength) {
        for (int nDiffers = 0; nDiffers <= nLength; ++nDiffers) {
            WideBuffer left(static_cast<std::size_t>(nLength) + 1);
            WideBuffer right(static_cast<std::size_t>(nLength) + 1);
            for (int i = 0; i < nLength; ++i)
                left[i] = right[i] = L'a' + i;
            left[nLength] = right[nLength] = 0;
            right[nDiffers] = nDiffers == nLength ? 0 : L'A' + nDiffers % 26;
            ASSERT_EQ(wcscmp(left.data(), right.data()),
                      plainCompare(left.data(), right.data(), LONG_MAX, false))
                << nLength << ' ' << nDiffers;
            ASSERT_EQ(wcscasecmp(left.data(), right.data()),
                      plainCompare(left.data(), right.data(), LONG_MAX, true));
            for (const int nCount : {INT_MIN, -1, 0, 1, 2, nDiffers, nDiffers + 1, nDiffers + 2, INT_MAX}) {
                ASSERT_EQ(wcsncmp(left.data(), right.data(), nCount),
                          plainCompare(left.data(), right.data(), nCount, false))
                    << nLength << ' ' << nDiffers << ' ' << nCount;
                ASSERT_EQ(wcsncasecmp(left.data(), right.data(), nCount),
                          plainCompare(left.data(), right.data(), nCount, true));
            }
        }
    }
}

TEST(WideCompare, OneTextShorterAtEveryAlignmentOfBoth) {
    for (std::size_t nLeft = 0; nLeft <= 40; ++nLeft) {
        for (std::size_t nRight = 0; nRight <= 40; ++nRight) {
            WideBuffer left(nLeft + 1);
            WideBuffer right(nRight + 1);
            for (std::size_t i = 0; i < nLeft; ++i)
                left[i] = L'x';
            for (std::size_t i = 0; i < nRight; ++i)
                right[i] = L'x';
            left[nLeft] = right[nRight] = 0;
            const int nExpected = nLeft == nRight ? 0 : nLeft < nRight ? -L'x' : L'x';
            ASSERT_EQ(wcscmp(left.data(), right.data()), nExpected) << nLeft << ' ' << nRight;
            ASSERT_EQ(wcsncmp(left.data(), right.data(), INT_MAX), nExpected);
            ASSERT_EQ(wcsncasecmp(left.data(), right.data(), 41), nExpected);
        }
    }
}

TEST(WideCompare, DifferencesAreUnsignedAndOfTheUnitsAsTheyStand) {
    // Not const: a compiler may know the C library's answer for constants, and give that.
    wchar_t high[] = {static_cast<wchar_t>(0x80000000), 0};
    wchar_t one[] = {1, 0};
    EXPECT_EQ(wcscmp(high, one), 0x7FFFFFFF);
    EXPECT_EQ(wcscmp(one, high), unitDifference(one[0], high[0]));
    EXPECT_EQ(wcscasecmp(L"aB", L"Ac"), L'B' - L'c');
    EXPECT_EQ(wcscasecmp(L"\u00E9", L"\u00C9"), 0x20) << "only ASCII folds";
    EXPECT_EQ(wcsncmp(L"b", L"a", 0), 1) << "the first units are compared even then";
    EXPECT_EQ(wcsncmp(L"b", L"a", std::size_t{0}), 0) << "a size_t count is the C library's";
}

TEST(WideCompare, EveryWayAgreesAtEveryPlaceAndLimit) {
    WideBuffer left(301);
    WideBuffer right(301);
    for (int i = 0; i <= 300; ++i)
        left[i] = right[i] = 1000 + i;
    for (const vdx::WideKernels* pKernels : vdx::getAllWideKernels()) {
        for (std::size_t nFrom = 0; nFrom <= 300; nFrom += 7) {
            for (std::size_t nStop = nFrom; nStop <= 300; ++nStop) {
                for (const wchar_t unit : {L'\0', L'y'}) {
                    right[nStop] = unit;
                    const wchar_t *pLeft = left.data() + nFrom, *pRight = right.data() + nFrom;
                    const std::size_t nEnd = nStop - nFrom;
                    ASSERT_EQ(pKernels->pCompare(pLeft, pRight), left[nStop] - unit);
                    for (const std::size_t nLast : {nEnd / 2, nEnd, nEnd + 1, SIZE_MAX}) {
                        ASSERT_EQ(pKernels->pCompareUpTo(pLeft, pRight, nLast),
                                  nLast < nEnd ? 0 : left[nStop] - unit);
                    }
                    right[nStop] = left[nStop];
                }
            }
        }
    }
}

TEST(WideCopy, EveryWayCopiesEveryLengthUpToTheGuardPageAndBeforeIt) {
    WideBuffer sources(400), targets(200);
    for (const vdx::WideKernels* pKernels : vdx::getAllWideKernels()) {
        for (std::size_t nLength = 0; nLength <= 130; ++nLength) {
            for (std::size_t nBehind = 0; nBehind <= 40; ++nBehind) {
                wchar_t* const pSource = sources.last(nLength + 1 + nBehind);
                for (std::size_t i = 0; i < nLength; ++i)
                    pSource[i] = static_cast<wchar_t>(i + 1);
                std::fill_n(pSource + nLength, nBehind + 1, 0);
                wchar_t* const pTarget = targets.last(nLength + 1);
                pKernels->pCopy(pTarget, pSource);
                ASSERT_EQ(std::wstring_view(pTarget, nLength + 1), std::wstring_view(pSource, nLength + 1))
                    << nLength << ' ' << nBehind;
            }
        }
    }
    wchar_t text[8] = L"ab";
    EXPECT_EQ(wcscat(text, L"cd"), text);
    EXPECT_EQ(wcscpy(text + 4, L"ef"), text + 4);
    EXPECT_EQ(std::wstring(text), L"abcdef");
}

TEST(WideCopy, CountedCopyAlwaysTerminatesAndNeverPads) {
    for (int nCount : {INT_MIN, -1, 0, 1, 2, 3, 4, 10, INT_MAX}) {
        SCOPED_TRACE(nCount);
        wchar_t target[8] = L".......";
        EXPECT_EQ(wcsncpy(target, L"abc", nCount), target);
        const std::size_t nCopied = nCount <= 0 ? 0 : nCount < 3 ? static_cast<std::size_t>(nCount) : 3;
        EXPECT_EQ(std::wstring(target), std::wstring(L"abc").substr(0, nCopied));
        EXPECT_EQ(target[nCopied + 1], L'.');
    }
    for (std::size_t nLength = 0; nLength <= 70; ++nLength) {
        // Neither the source nor the target reaches past nLength units and the end.
        WideBuffer source(nLength + 1);
        for (std::size_t i = 0; i < nLength; ++i)
            source[i] = L'x';
        source[nLength] = 0;
        WideBuffer target(nLength + 1);
        wcsncpy(target.data(), source.data(), INT_MAX);
        ASSERT_EQ(std::wstring(target.data()).size(), nLength);
    }
}

TEST(WidePlaceholders, ConvertNothing) {
    char narrow[4] = "abc";
    wchar_t wide[4] = L"abc";
    const wchar_t* pEnd = wide;
    EXPECT_EQ(wcstombs(narrow, L"x", 4), -1);
    EXPECT_EQ(mbstowcs(wide, "x", 4), -1);
    EXPECT_EQ(x_mbtowc(wide, "x", 4), -1);
    EXPECT_EQ(x_wcstol(L"7", &pEnd, 10), -1);
    EXPECT_EQ(x_wcstod(L"7", &pEnd), -1.0);
    EXPECT_EQ(x_swscanf(L"7", L"%d", nullptr), -1);
    EXPECT_STREQ(narrow, "abc");
    EXPECT_EQ(std::wstring(wide), L"abc");
    EXPECT_EQ(pEnd, wide);
}

}  // namespace
