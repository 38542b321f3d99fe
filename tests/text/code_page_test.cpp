// Code pages: their files, the deliberate rules of the conversions, and iconv's tables.
#include <gtest/gtest.h>
#include <iconv.h>
#include <unistd.h>
#include <vdx/code_page.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

using namespace std::string_literals;

namespace {

using codePair = std::pair<unsigned, unsigned>;  // Unicode, multi-byte.

std::string recordBytes(const std::vector<codePair>& records) {
    std::string strBytes;
    for (const auto& [nWide, nCode] : records)
        for (const unsigned n : {nWide >> 8, nWide, nCode >> 8, nCode})
            strBytes += static_cast<char>(n);
    return strBytes;
}

class codePageTest : public ::testing::Test {
protected:
    ~codePageTest() override { std::filesystem::remove(m_strPath); }

    bool load(const std::string& strBytes) {
        std::ofstream(m_strPath, std::ios::binary) << strBytes;
        return m_page.LoadCodePageFile(m_strPath);
    }
    bool loadRecords(const std::vector<codePair>& records) { return load(recordBytes(records)); }

    std::string m_strPath = ::testing::TempDir() + "vdx_code_page_" + std::to_string(getpid());
    chCodePage m_page;
};

// One character from one character set to another; empty when there is none.
class iconvConverter {
public:
    iconvConverter(const char* szTo, const char* szFrom) : m_handle(iconv_open(szTo, szFrom)) {}
    ~iconvConverter() {
        if (isOpen()) iconv_close(m_handle);
    }
    iconvConverter(const iconvConverter&) = delete;
    iconvConverter& operator=(const iconvConverter&) = delete;

    bool isOpen() const { return m_handle != reinterpret_cast<iconv_t>(-1); }
    std::string operator()(std::string strIn) {
        char aOut[16];
        char *pIn = strIn.data(), *pOut = aOut;
        std::size_t nIn = strIn.size(), nOut = sizeof aOut;
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        if (iconv(m_handle, &pIn, &nIn, &pOut, &nOut) != 0) return "";
        return std::string(aOut, pOut);
    }

private:
    iconv_t m_handle;
};

unsigned below(std::mt19937& random, unsigned nLimit) {
    return static_cast<unsigned>(random() % nLimit);
}

std::string twoBytes(unsigned n) {
    return {static_cast<char>(n >> 8), static_cast<char>(n)};
}

}  // namespace

TEST_F(codePageTest, FileSizes) {
    const std::string strRecords = recordBytes({{0x4E00, 0x8140}, {0x4E01, 0x8141}});
    EXPECT_TRUE(load(strRecords + "ab"));
    EXPECT_EQ(m_page.W2MBCS(L"\u4E01"), "\x81\x41");
    EXPECT_EQ(m_page.W2MBCS_slow(0x6162), '?');
    EXPECT_TRUE(load(strRecords.substr(0, 4)));
    EXPECT_EQ(m_page.W2MBCS_slow(0x4E01), '?');
    EXPECT_EQ(m_page.MBCS2W_fast(0x8140), 0x4E00);
}

TEST_F(codePageTest, AFailedLoadLeavesAnEmptyTable) {
    const std::string strRecord = recordBytes({{0x4E00, 0x8140}});
    const auto expectEmpty = [&] {
        EXPECT_EQ(m_page.W2MBCS(L"a\u4E00"), "a\0?"s);
        EXPECT_EQ(m_page.MBCS2W("\x81\x40"), L"?");
        EXPECT_EQ(m_page.MBCS2W_fast(0x8140), '?');
        EXPECT_EQ(m_page.W2MBCS_slow(0x4E00), '?');
    };
    expectEmpty();
    for (const std::string strBytes : {"", "a", "ab", "abc"}) {
        ASSERT_TRUE(load(strRecord));
        EXPECT_FALSE(load(strBytes));
        expectEmpty();
    }
    for (const std::string& strPath : {m_strPath + "/missing", ::testing::TempDir(), ""s}) {
        ASSERT_TRUE(load(strRecord));
        EXPECT_FALSE(m_page.LoadCodePageFile(strPath));
        expectEmpty();
    }
    ASSERT_TRUE(load(strRecord));
    m_page.UnloadCodePageFile();
    expectEmpty();
}

TEST_F(codePageTest, TheConstructorLoads) {
    ASSERT_TRUE(loadRecords({{0x4E00, 0x8140}}));
    EXPECT_EQ(chCodePage(m_strPath).MBCS2W("\x81\x40"), L"\u4E00");
    EXPECT_EQ(chCodePage(m_strPath + "/missing").MBCS2W("\x81\x40"), L"?");
}

TEST_F(codePageTest, MultiByteToWide) {
    ASSERT_TRUE(loadRecords({{0x4E01, 0xB6A1}, {0x4E00, 0xD2BB}}));
    const struct {
        std::string strText;
        std::wstring strWide;
    } rows[] = {
        {"", L""},
        {"plain ASCII, longer than one step", L"plain ASCII, longer than one step"},
        {"\xD2\xBB", L"\u4E00"},
        {"\xD2\xBB"
         "abc",
         L"\u4E00"
         L"abc"},
        {"\xD2\xBB\xB6\xA1", L"\u4E00\u4E00"},
        {"A\xD2\xBB", L"A?"},
        {"\xB6\0A"s, L"?\0A"s},
        {"A\0\xB6\xA1"s, L"A\0??"s},
        {"\xB6", L"?"},
        {"\xB6\xA1\xB6", L"\u4E01\u4E01"},
        {"\x80\xFF\xB6\xA1", L"???"},
        {"\xB6\xA1\x80\xFF", L"\u4E01??"},
        {"\xB6\xA2", L"?"},
        {"\xB6\xA1"
         "12345678\xB6",
         L"\u4E01"
         L"12345678\u4E01"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.strText);
        EXPECT_EQ(m_page.MBCS2W(row.strText), row.strWide);
    }
}

TEST_F(codePageTest, WideToMultiByte) {
    ASSERT_TRUE(loadRecords({{0xA4, 0x7A}, {0x4E01, 0xB6A1}, {0x4E00, 0xD2BB}, {0x4E01, 0xD2BC}}));
    const struct {
        std::wstring strWide;
        std::string strText;
    } rows[] = {
        {L"", ""},
        {L"a\x7F", "a\x7F"},
        {std::wstring(1, 0) + L"b", "\0b"s},
        {L"\x80", "?"},
        {L"\xFF", "?"},
        {L"\x81", "\0?"s},
        {L"\xA4", "\0z"s},
        {L"\u4E00\u4E01", "\xD2\xBB\xB6\xA1"},
        {L"\u4E02", "\0?"s},
        {std::wstring(1, static_cast<wchar_t>(0x14E01)), "\xB6\xA1"},
        {std::wstring(1, static_cast<wchar_t>(0x80000041u)), "\0?"s},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.strText);
        EXPECT_EQ(m_page.W2MBCS(row.strWide), row.strText);
    }
}

// Tables of all small sizes in order: every code is found and no other; the first Unicode record wins.
TEST_F(codePageTest, SearchesFindWhatIsThere) {
    std::mt19937 random(1);
    for (unsigned nSize = 1; nSize < 70; ++nSize) {
        std::map<unsigned, unsigned> table;
        while (table.size() < nSize)
            table[0x8100 + below(random, 200)] = 0x4E00 + below(random, 100);
        std::vector<codePair> records;
        std::map<unsigned, unsigned> codes;
        for (const auto& [nCode, nWide] : table) {
            records.emplace_back(nWide, nCode);
            codes.emplace(nWide, nCode);
        }
        ASSERT_TRUE(loadRecords(records));
        const auto expectAll = [&] {
            for (unsigned nCode = 0x80F0; nCode < 0x81E0; ++nCode)
                ASSERT_EQ(m_page.MBCS2W_fast(static_cast<unsigned short>(nCode)),
                          table.count(nCode) ? table[nCode] : '?');
        };
        expectAll();
        // A record twice leaves the order, but no longer a strict one: no index, the same answers.
        records.push_back(records.back());
        ASSERT_TRUE(loadRecords(records));
        expectAll();
        for (unsigned nWide = 0x4DF0; nWide < 0x4E80; ++nWide)
            ASSERT_EQ(m_page.W2MBCS_slow(static_cast<unsigned short>(nWide)),
                      codes.count(nWide) ? codes[nWide] : '?');
    }
}

// The bisection halves towards the first record: which of several records with one code it meets, and
// what it misses in a table in disorder, are part of its answers.
TEST_F(codePageTest, TheBisectionMeetsTheRecordsItMust) {
    const struct {
        std::vector<codePair> records;
        unsigned nCode, nWide;
    } rows[] = {
        {{{1, 10}, {2, 20}, {3, 20}, {4, 30}}, 20, 2},
        {{{1, 10}, {2, 20}, {3, 20}, {4, 20}, {5, 30}}, 20, 3},
        {{{1, 10}, {2, 10}, {3, 10}}, 10, 1},
        {{{1, 10}, {2, 20}, {3, 30}, {4, 30}}, 30, 4},
        {{{1, 10}, {2, 50}, {3, 30}, {4, 20}, {5, 60}}, 30, 3},
        {{{1, 10}, {2, 50}, {3, 30}, {4, 20}, {5, 60}}, 20, '?'},
        {{{1, 10}, {2, 50}, {3, 30}, {4, 20}, {5, 60}}, 50, '?'},
        {{{1, 30}, {2, 20}, {3, 10}}, 10, 3},
        {{{1, 30}, {2, 20}, {3, 10}}, 20, '?'},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(loadRecords(row.records));
        EXPECT_EQ(m_page.MBCS2W_fast(static_cast<unsigned short>(row.nCode)), row.nWide)
            << row.records.size() << " records, code " << row.nCode;
    }
}

TEST_F(codePageTest, EqualsIconv) {
    iconvConverter toWide("UTF-16BE", "GBK"), toBytes("GBK", "UTF-16BE");
    if (!toWide.isOpen() || !toBytes.isOpen()) GTEST_SKIP() << "iconv has no GBK here";
    std::string strFile;
    for (unsigned nCode = 0x8100; nCode < 0xFF00; ++nCode) {
        const std::string strWide = toWide(twoBytes(nCode));
        if (strWide.size() == 2) strFile += strWide + twoBytes(nCode);
    }
    ASSERT_GT(strFile.size(), 4u * 20000);
    ASSERT_TRUE(load(strFile));
    int nCompared = 0;
    for (unsigned nWide = 0x100; nWide < 0x10000; ++nWide) {
        const std::string strPeer = toBytes(twoBytes(nWide));
        // iconv knows a few codes by which it reads nothing; they are not in the table.
        if (strPeer.size() != 2 || toWide(strPeer) != twoBytes(nWide)) continue;
        const std::wstring strWide(1, static_cast<wchar_t>(nWide));
        ASSERT_EQ(m_page.W2MBCS(strWide), strPeer) << std::hex << nWide;
        ASSERT_EQ(m_page.MBCS2W(strPeer), strWide) << std::hex << nWide;
        ++nCompared;
    }
    EXPECT_GT(nCompared, 20000);
}
