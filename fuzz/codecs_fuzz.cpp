// All decoders on any text: every set of inner loops gives the same, and encoded bytes come back.
#include <vdx/codecs.h>

#include "fuzz/fuzz.h"
#include "text/codec_drivers.h"

namespace {

void compareDecoders(const vdx::codecKernels& kernels, const std::string& strText) {
    require(vdx::codecText2Bin(kernels, strText) == vdxText2Bin(strText));
    require(vdx::codecBase162Bin(kernels, strText) == vdxBase162Bin(strText));
    require(vdx::codecBase642Bin(kernels, strText) == vdxBase642Bin(strText));
    Bytes own(strText.size() / 2), best(own);
    const bool bOwn = vdx::codecFetchBase16(kernels, strText, own.data(), sizeOf(own));
    require(fetchBytesFromBase16(strText, best.data(), sizeOf(best)) == bOwn && own == best);
}

void checkQuoted(const std::string& strText) {
    std::string strOut;
    const int nClosing = fromQuotaString(strText, strOut);
    require(nClosing == 0 || strText[static_cast<std::size_t>(nClosing)] == '"');
    const std::string strQuoted = toQuotaString(strText.data(), static_cast<int>(strText.size()));
    require(fromQuotaString('"' + strQuoted.substr(34), strOut) == static_cast<int>(strQuoted.size()) - 34);
}

}  // namespace

void fuzz(const Bytes& input) {
    for (const vdx::codecKernels* pKernels : vdx::getAllCodecKernels())
        compareDecoders(*pKernels, textOf(input));
    checkQuoted(textOf(input));
    require(vdxText2Bin(vdxBin2Text(input.data(), sizeOf(input))) == input);
    require(vdxBase162Bin(vdxBin2Base16(input.data(), sizeOf(input))) == input);
    require(vdxBase642Bin(vdxBin2Base64(input.data(), sizeOf(input))) == input);
}
