// All decoders on any text: every set of inner loops gives the same, and encoded bytes come back.
#include <vdx/codecs.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/codec_drivers.h"

namespace {

void require(bool bTrue) {
    if (!bTrue) std::abort();
}

void compareDecoders(const vdx::codecKernels& kernels, const std::string& strText) {
    require(vdx::codecText2Bin(kernels, strText) == vdxText2Bin(strText));
    require(vdx::codecBase162Bin(kernels, strText) == vdxBase162Bin(strText));
    require(vdx::codecBase642Bin(kernels, strText) == vdxBase642Bin(strText));
    std::vector<unsigned char> own(strText.size() / 2), best(own);
    const int n = static_cast<int>(own.size());
    const bool bOwn = vdx::codecFetchBase16(kernels, strText, own.data(), n);
    require(fetchBytesFromBase16(strText, best.data(), n) == bOwn && own == best);
}

void checkReturn(const std::string& strBytes) {
    const std::vector<unsigned char> bytes(strBytes.begin(), strBytes.end());
    const int n = static_cast<int>(bytes.size());
    require(vdxText2Bin(vdxBin2Text(bytes.data(), n)) == bytes);
    require(vdxBase162Bin(vdxBin2Base16(bytes.data(), n)) == bytes);
    require(vdxBase642Bin(vdxBin2Base64(bytes.data(), n)) == bytes);
}

void checkQuoted(const std::string& strText) {
    std::string strOut;
    const int nClosing = fromQuotaString(strText, strOut);
    require(nClosing == 0 || strText[static_cast<std::size_t>(nClosing)] == '"');
    const std::string strQuoted = toQuotaString(strText.data(), static_cast<int>(strText.size()));
    std::string strAgain;
    require(fromQuotaString('"' + strQuoted.substr(34), strAgain) == static_cast<int>(strQuoted.size()) - 34);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strText(reinterpret_cast<const char*>(pData), nSize);
    for (const vdx::codecKernels* pKernels : vdx::getAllCodecKernels())
        compareDecoders(*pKernels, strText);
    checkReturn(strText);
    checkQuoted(strText);
    return 0;
}
