// A code page file of any bytes, and texts of any characters: byte 0 says how much of the input is text.
#include <unistd.h>
#include <vdx/code_page.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "siblings/pmrfile/whole_file.h"

namespace {

// What the first record in the file that has the Unicode code says of it.
unsigned short searchFile(const std::string& strFile, unsigned short nWide) {
    const auto at = [&](std::size_t i) {
        return static_cast<unsigned short>(static_cast<std::uint8_t>(strFile[i]) << 8 |
                                           static_cast<std::uint8_t>(strFile[i + 1]));
    };
    for (std::size_t i = 0; i + 4 <= strFile.size(); i += 4)
        if (at(i) == nWide) return at(i + 2);
    return '?';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static const std::string s_strPath = "/tmp/vdx_code_page_fuzz_" + std::to_string(getpid());
    if (nSize == 0) return 0;
    const std::string strInput(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    const std::string strText = strInput.substr(0, pData[0]);
    const std::string strFile = strInput.substr(strText.size());
    chCodePage page;
    if (!vdxWriteBinFile(s_strPath, strFile)) return 0;
    const bool bLoaded = page.LoadCodePageFile(s_strPath);
    unlink(s_strPath.c_str());
    if (bLoaded != (strFile.size() >= 4)) std::abort();
    const std::wstring strWide = page.MBCS2W(strText);
    const std::string strBack = page.W2MBCS(strWide);
    if (strWide.size() > strText.size() || strBack.size() > 2 * strWide.size()) std::abort();
    for (const wchar_t c : strWide) {
        const auto nWide = static_cast<unsigned short>(c);
        if (page.W2MBCS_slow(nWide) != searchFile(strFile, nWide)) std::abort();
    }
    for (unsigned nCode = 0; nCode < 0x10000; nCode += 251)
        page.MBCS2W_fast(static_cast<unsigned short>(nCode));
    return 0;
}
