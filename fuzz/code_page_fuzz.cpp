// A code page file of any bytes, and texts of any characters: byte 0 says how much of the input is text.
#include <unistd.h>
#include <vdx/code_page.h>

#include "fuzz/fuzz.h"
#include "siblings/pmrfile/whole_file.h"

namespace {

unsigned short codeAt(const std::string& strFile, std::size_t i) {
    return static_cast<unsigned short>(static_cast<std::uint8_t>(strFile[i]) << 8 |
                                       static_cast<std::uint8_t>(strFile[i + 1]));
}

// What the first record in the file that has the Unicode code says of it.
int searchFile(const std::string& strFile, unsigned short nWide) {
    for (std::size_t i = 0; i + 4 <= strFile.size(); i += 4)
        if (codeAt(strFile, i) == nWide) return codeAt(strFile, i + 2);
    return '?';
}

}  // namespace

void fuzz(const Bytes& input) {
    static const std::string s_strPath = "/tmp/vdx_code_page_fuzz_" + std::to_string(getpid());
    if (input.empty()) return;
    const std::string strText = textOf(input).substr(1, input[0]);
    const std::string strFile = textOf(input).substr(1 + strText.size());
    chCodePage page;
    if (!vdxWriteBinFile(s_strPath, strFile)) return;
    const bool bLoaded = page.LoadCodePageFile(s_strPath);
    unlink(s_strPath.c_str());
    require(bLoaded == (strFile.size() >= 4));
    const std::wstring strWide = page.MBCS2W(strText);
    require(strWide.size() <= strText.size() && page.W2MBCS(strWide).size() <= 2 * strWide.size());
    for (std::size_t i = 0; i + 2 <= strFile.size(); ++i) {
        const unsigned short nCode = codeAt(strFile, i);
        require(page.W2MBCS_slow(nCode) == searchFile(strFile, nCode));
        page.MBCS2W_fast(nCode);
    }
}
