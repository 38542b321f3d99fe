// Code pages: their files, and the deliberate rules of the conversions. Files of any bytes:
// fuzz/code_page_fuzz.cpp.
#include <gtest/gtest.h>
#include <vdx/code_page.h>

#include <tuple>

#include "support/temp_dir.h"

using namespace std::string_literals;

namespace {

using codePair = std::pair<unsigned, unsigned>;  // Unicode, multi-byte.

class codePageTest : public ::testing::Test {
protected:
    bool loadRecords(const std::vector<codePair>& records) {
        std::string strBytes;
        for (const auto& [nWide, nCode] : records)
            for (const unsigned n : {nWide >> 8, nWide, nCode >> 8, nCode})
                strBytes += static_cast<char>(n);
        return m_page.LoadCodePageFile(m_dir.write("page", strBytes));
    }

    unsigned wideOf(unsigned nCode) { return m_page.MBCS2W_fast(static_cast<unsigned short>(nCode)); }
    unsigned codeOf(unsigned nWide) { return m_page.W2MBCS_slow(static_cast<unsigned short>(nWide)); }

    const TempDir m_dir;
    chCodePage m_page;
};

}  // namespace

TEST_F(codePageTest, AFailedLoadLeavesAnEmptyTable) {
    for (const std::string& strPath : {m_dir.write("3", "abc"), m_dir / "none", m_dir.path()}) {
        ASSERT_TRUE(loadRecords({{0x4E00, 0x8140}}));
        EXPECT_FALSE(m_page.LoadCodePageFile(strPath)) << strPath;
        EXPECT_EQ(m_page.W2MBCS(L"a\u4E00"), "a\0?"s);
        EXPECT_EQ(wideOf(0x8140), unsigned{'?'});
    }
    ASSERT_TRUE(loadRecords({{0x4E00, 0x8140}}));
    m_page.UnloadCodePageFile();
    EXPECT_EQ(codeOf(0x4E00), unsigned{'?'});
}

TEST_F(codePageTest, TextsBothWays) {
    ASSERT_TRUE(loadRecords({{0xA4, 0x7A}, {0x4E01, 0xB6A1}, {0x4E00, 0xD2BB}, {0x4E01, 0xD2BC}}));
    const std::tuple<const char*, std::string, std::wstring> narrow[] = {
        {"ASCII", "longer than one step\x7F\0"s, L"longer than one step\x7F\0"s},
        {"one", "\xD2\xBBxyz", L"\u4E00xyz"},
        {"all by the first two bytes", "\xD2\xBB\xB6\xA1", L"\u4E00\u4E00"},
        {"and by ASCII at the start", "A\xD2\xBB", L"A?"},
        {"second byte zero", "\xB6\0A\xB6"s, L"?\0A?"s},
        {"alone", "\xB6", L"?"},
        {"half at the end", "\xB6\xA1\x31\x32\x33\x34\x35\x36\x37\x38\xB6",
         L"\u4E01\x31\x32\x33\x34\x35\x36\x37\x38\u4E01"},
        {"no lead bytes", "\x80\xFF\xB6\xA1", L"???"},
        {"not in the table", "\xB6\xA2", L"?"},
    };
    for (const auto& [szLabel, strText, strWide] : narrow)
        EXPECT_EQ(m_page.MBCS2W(strText), strWide) << szLabel;
    EXPECT_EQ(chCodePage(m_dir / "page").MBCS2W("\xD2\xBB"), L"\u4E00");
    // All that a wide character gives stands at its place.
    std::wstring strWide = L"a\x7F\0\x80\xFF\x81\u4E02\xA4\u4E00\u4E01\U00014E01"s;
    strWide += static_cast<wchar_t>(0x80000041u);
    EXPECT_EQ(m_page.W2MBCS(strWide), "a\x7F\0??\0?\0?\0z\xD2\xBB\xB6\xA1\xB6\xA1\0?"s);
}

// Tables of all small sizes in order: every code is found and no other; the first Unicode record wins. The
// last record stands there twice, so that no index answers.
TEST_F(codePageTest, SearchesFindWhatIsThere) {
    std::vector<codePair> records;
    for (unsigned nSize = 1; nSize < 70; ++nSize) {
        records.emplace_back(0x4E00 + nSize / 3, 0x8100 + 2 * nSize);
        records.push_back(records.back());
        ASSERT_TRUE(loadRecords(records));
        records.pop_back();
        for (unsigned i = 1; i < 80; ++i) {
            ASSERT_EQ(wideOf(0x8100 + 2 * i), i <= nSize ? 0x4E00 + i / 3 : '?');
            ASSERT_EQ(wideOf(0x8101 + 2 * i), '?');
            ASSERT_EQ(codeOf(0x4E00 + i), 3 * i <= nSize ? 0x8100 + 6 * i : '?');
        }
    }
}

// The bisection halves towards the first record: which of several records with one code it meets, and
// what it misses in a table in disorder, are part of its answers. Record i has the Unicode code i.
TEST_F(codePageTest, TheBisectionMeetsTheRecordsItMust) {
    const std::tuple<std::vector<unsigned>, unsigned, unsigned> rows[] = {
        {{10, 20, 20, 30}, 20, 1},       {{10, 20, 20, 20, 30}, 20, 2}, {{10, 10, 10}, 10, 0},
        {{10, 20, 30, 30}, 30, 3},       {{10, 50, 30, 20, 60}, 30, 2}, {{10, 50, 30, 20, 60}, 20, '?'},
        {{10, 50, 30, 20, 60}, 50, '?'}, {{30, 20, 10}, 10, 2},         {{30, 20, 10}, 20, '?'},
    };
    for (const auto& [recordCodes, nCode, nWide] : rows) {
        std::vector<codePair> records;
        for (const unsigned nRecord : recordCodes)
            records.emplace_back(records.size(), nRecord);
        ASSERT_TRUE(loadRecords(records));
        EXPECT_EQ(wideOf(nCode), nWide) << records.size() << " records, code " << nCode;
    }
}
