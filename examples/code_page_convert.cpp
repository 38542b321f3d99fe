// Makes a code page file with iconv, loads it, and converts a text to the code page and back.
//
//     code_page_convert [character set]     for example GBK (the default), BIG5, EUC-KR
#include <iconv.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <vdx/code_page.h>
#include <vdx/codecs.h>
#include <vdx/platform.h>

namespace {

// All double-byte characters of the character set, in ascending order, as a code page file wants them.
std::string makeTable(iconv_t toUnicode) {
    std::string strTable;
    for (int nCode = 0x8100; nCode < 0xFF00; ++nCode) {
        char aCode[2] = {static_cast<char>(nCode >> 8), static_cast<char>(nCode)};
        char aWide[8];
        char *pIn = aCode, *pOut = aWide;
        size_t nIn = sizeof aCode, nOut = sizeof aWide;
        iconv(toUnicode, nullptr, nullptr, nullptr, nullptr);
        const size_t nResult = iconv(toUnicode, &pIn, &nIn, &pOut, &nOut);
        if (nResult != 0 || nOut != sizeof aWide - 2) continue;  // Not one character of 16 bits.
        strTable.append(aWide, 2);
        strTable.append(aCode, 2);
    }
    return strTable;
}

// A whole text of double-byte characters and ASCII: MBCS2W looks at the first two bytes of its text
// only, so every character is handed over by itself.
std::wstring toWide(const chCodePage& page, const std::string& strBytes) {
    std::wstring strWide;
    for (size_t i = 0; i < strBytes.size();) {
        const size_t nLength = static_cast<unsigned char>(strBytes[i]) > 0x80 ? 2 : 1;
        strWide += page.MBCS2W(strBytes.substr(i, nLength));
        i += nLength;
    }
    return strWide;
}

}  // namespace

int main(int argc, char** argv) {
    const char* szSet = argc > 1 ? argv[1] : "GBK";
    const iconv_t toUnicode = iconv_open("UTF-16BE", szSet);
    if (toUnicode == reinterpret_cast<iconv_t>(-1)) {
        std::printf("iconv does not know %s here\n", szSet);
        return argc > 1 ? 1 : 0;
    }
    const std::string strTable = makeTable(toUnicode);
    iconv_close(toUnicode);

    std::string strPath = vdxGetTempDirectory() + "/code_page_XXXXXX";
    const int nFile = mkstemp(strPath.data());  // A name that nobody can know beforehand.
    if (nFile < 0) {
        std::printf("%s: %s\n", strPath.c_str(), vdxTransLastError().c_str());
        return 1;
    }
    close(nFile);
    std::ofstream(strPath, std::ios::binary) << strTable;
    chCodePage page("");
    const bool bLoaded = page.LoadCodePageFile(strPath);
    unlink(strPath.c_str());
    if (!bLoaded) {
        std::printf("%s: no table\n", strPath.c_str());
        return 1;
    }

    const std::wstring strWide = L"vdx: \u4E2D\u6587 \u4E00";
    const std::string strBytes = page.W2MBCS(strWide);
    std::printf("%s: %zu characters of two bytes\n", szSet, strTable.size() / 4);
    std::printf("as multi-byte text: %s\n",
                vdxBin2Text(strBytes.data(), static_cast<int>(strBytes.size())).c_str());
    const bool bSame = toWide(page, strBytes) == strWide;
    std::printf("and back: %s\n", bSame ? "the same text" : "another text");
    return bSame ? 0 : 1;
}
