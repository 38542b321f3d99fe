// Code page conversions against iconv, with a table of GBK that iconv has made. Every run makes a new
// result; iconv's handles are opened once.
#include <iconv.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include <benchmark/benchmark.h>

#include <vdx/code_page.h>

#include "support/ratio.h"
#include "support/temp_dir.h"

namespace {

// Converts a whole text into a new block of memory that is not filled before.
class iconvConverter {
public:
    iconvConverter(const char* szTo, const char* szFrom) : m_handle(iconv_open(szTo, szFrom)) {
        if (m_handle == reinterpret_cast<iconv_t>(-1)) std::abort();
    }
    ~iconvConverter() { iconv_close(m_handle); }
    iconvConverter(const iconvConverter&) = delete;
    iconvConverter& operator=(const iconvConverter&) = delete;

    // The size of the result; 0 when the text cannot be converted.
    template <typename STRING>
    std::size_t operator()(const STRING& strText, std::size_t nMost) const {
        const auto pResult = std::make_unique_for_overwrite<char[]>(nMost);
        auto* pIn = reinterpret_cast<char*>(const_cast<typename STRING::value_type*>(strText.data()));
        char* pOut = pResult.get();
        std::size_t nIn = strText.size() * sizeof(typename STRING::value_type), nOut = nMost;
        const std::size_t nResult = iconv(m_handle, &pIn, &nIn, &pOut, &nOut);
        benchmark::DoNotOptimize(pResult.get());
        return nResult == 0 ? nMost - nOut : 0;
    }

private:
    iconv_t m_handle;
};

// The table, made character by character.
std::string makeTable() {
    std::string strTable;
    const iconv_t toWide = iconv_open("UTF-16BE", "GBK");
    if (toWide == reinterpret_cast<iconv_t>(-1)) std::abort();
    for (int nCode = 0x8100; nCode < 0xFF00; ++nCode) {
        char aCode[2] = {static_cast<char>(nCode >> 8), static_cast<char>(nCode)};
        char aWide[8];
        char *pIn = aCode, *pOut = aWide;
        std::size_t nIn = sizeof aCode, nOut = sizeof aWide;
        iconv(toWide, nullptr, nullptr, nullptr, nullptr);
        if (iconv(toWide, &pIn, &nIn, &pOut, &nOut) != 0 || nOut != sizeof aWide - 2) continue;
        strTable.append(aWide, 2).append(aCode, 2);
    }
    iconv_close(toWide);
    return strTable;
}

const chCodePage& gbk() {
    static const chCodePage s_page = [] {
        const TempDir dir;
        return chCodePage(dir.write("table.cp", makeTable()));
    }();
    return s_page;
}

// Chinese text at random from the common characters, every fourth one a letter.
std::wstring wideText(std::size_t n) {
    std::mt19937 random(1);
    std::wstring strText(n, 0);
    for (std::size_t i = 0; i < n; ++i)
        strText[i] = static_cast<wchar_t>(i % 4 == 3 ? 'a' + random() % 26 : 0x4E00 + random() % 0x4000);
    return strText;
}

constexpr std::size_t LONG_TEXT = 65536;

void BM_ToBytes_vdx(benchmark::State& state, const std::wstring& strText) {
    for (auto _ : state) {
        const std::string strBytes = gbk().W2MBCS(strText);
        benchmark::DoNotOptimize(strBytes.data());
    }
}

void BM_ToBytes_iconv(benchmark::State& state, const std::wstring& strText) {
    const iconvConverter toBytes("GBK", "WCHAR_T");
    for (auto _ : state)
        if (toBytes(strText, 2 * strText.size()) == 0) state.SkipWithError("not converted");
}

void BM_ToWide_vdx(benchmark::State& state, const std::string& strText) {
    for (auto _ : state) {
        const std::wstring strWide = gbk().MBCS2W(strText);
        benchmark::DoNotOptimize(strWide.data());
    }
}

// A long text of many characters, each looked up by its own code.
void BM_ToWide_vdx_each(benchmark::State& state, const std::string& strText) {
    const chCodePage& page = gbk();
    for (auto _ : state) {
        const auto pWide = std::make_unique_for_overwrite<wchar_t[]>(strText.size());
        wchar_t* pOut = pWide.get();
        for (std::size_t i = 0; i < strText.size(); ++i) {
            unsigned c = static_cast<unsigned char>(strText[i]);
            if (c >= 0x80) {
                c = c << 8 | static_cast<unsigned char>(strText[++i]);
                c = page.MBCS2W_fast(static_cast<unsigned short>(c));
            }
            *pOut++ = static_cast<wchar_t>(c);
        }
        benchmark::DoNotOptimize(pOut);
    }
}

void BM_ToWide_iconv(benchmark::State& state, const std::string& strText) {
    const iconvConverter toWide("WCHAR_T", "GBK");
    for (auto _ : state)
        if (toWide(strText, sizeof(wchar_t) * strText.size()) == 0) state.SkipWithError("not converted");
}

std::string longBytes() {
    return gbk().W2MBCS(wideText(LONG_TEXT));
}

// A text in which all characters are the first one, which MBCS2W converts as a whole.
std::string sameCharacter() {
    std::string strBytes;
    for (std::size_t i = 0; i < LONG_TEXT; ++i)
        strBytes += "\xD6\xD0";
    return strBytes;
}

BENCHMARK_CAPTURE(BM_ToBytes_vdx, long, wideText(LONG_TEXT));
BENCHMARK_CAPTURE(BM_ToBytes_iconv, long, wideText(LONG_TEXT));
VDX_FIGURE("code page, wide to multi-byte, 64 Ki characters", "BM_ToBytes_vdx/long",
           {"BM_ToBytes_iconv/long"}, 4);

BENCHMARK_CAPTURE(BM_ToBytes_vdx, one, std::wstring(L"\u4E2D"));
BENCHMARK_CAPTURE(BM_ToBytes_iconv, one, std::wstring(L"\u4E2D"));
VDX_FIGURE("code page, wide to multi-byte, 1 character", "BM_ToBytes_vdx/one", {"BM_ToBytes_iconv/one"}, 2);

BENCHMARK_CAPTURE(BM_ToWide_vdx, same, sameCharacter());
BENCHMARK_CAPTURE(BM_ToWide_iconv, same, sameCharacter());
VDX_FIGURE("code page, multi-byte to wide, 64 Ki times one character", "BM_ToWide_vdx/same",
           {"BM_ToWide_iconv/same"}, 1);

BENCHMARK_CAPTURE(BM_ToWide_vdx_each, long, longBytes());
BENCHMARK_CAPTURE(BM_ToWide_iconv, long, longBytes());
VDX_FIGURE("code page, multi-byte to wide, 64 Ki characters one by one", "BM_ToWide_vdx_each/long",
           {"BM_ToWide_iconv/long"}, 1);

BENCHMARK_CAPTURE(BM_ToWide_vdx, one, std::string("\xD6\xD0"));
BENCHMARK_CAPTURE(BM_ToWide_iconv, one, std::string("\xD6\xD0"));
VDX_FIGURE("code page, multi-byte to wide, 1 character", "BM_ToWide_vdx/one", {"BM_ToWide_iconv/one"}, 1);

}  // namespace
