// All decoders on any text: every set of inner loops gives the same, and encoded bytes come back.
#include <vdx/codecs.h>

#include "fuzz/fuzz.h"
#include "text/codec_drivers.h"

namespace {

using vdx::codecKernels;

// The plain way to decode: inner loops that take nothing leave each character to the drivers.
std::size_t takeNothing(const char*, std::size_t, std::uint8_t*) {
    return 0;
}
constexpr codecKernels s_plain = {"plain", nullptr, nullptr, nullptr, takeNothing, takeNothing, takeNothing};

// All that the decoders make of a text.
std::vector<Bytes> decoded(const codecKernels& kernels, const std::string& strText) {
    Bytes fetched(strText.size() / 2, '?');
    const bool bFetched = vdx::codecFetchBase16(kernels, strText, fetched.data(), sizeOf(fetched));
    require(bFetched == (strText.size() % 2 == 0));
    return {vdx::codecText2Bin(kernels, strText), vdx::codecBase162Bin(kernels, strText),
            vdx::codecBase642Bin(kernels, strText), fetched};
}

void compareDecoders(const std::string& strText) {
    const auto expected = decoded(s_plain, strText);
    for (const codecKernels* pKernels : vdx::getAllCodecKernels())
        require(decoded(*pKernels, strText) == expected);
}

// A clean text, and the same with one character changed.
void compareOnChanged(const Bytes& input, std::string strText) {
    if (input.size() < 3 || strText.empty()) return;
    compareDecoders(strText);
    if (input[0] % 2 != 0)
        for (char& c : strText)
            c = c >= 'A' && c <= 'F' ? static_cast<char>(c | 0x20) : c;
    strText[(input[1] * 256u + input[2]) % strText.size()] = static_cast<char>(input[0]);
    compareDecoders(strText);
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
    compareDecoders(textOf(input));
    checkQuoted(textOf(input));
    const std::string texts[] = {vdxBin2Text(input.data(), sizeOf(input)),
                                 vdxBin2Base16(input.data(), sizeOf(input)),
                                 vdxBin2Base64(input.data(), sizeOf(input))};
    require(vdxText2Bin(texts[0]) == input && vdxBase162Bin(texts[1]) == input &&
            vdxBase642Bin(texts[2]) == input);
    for (const std::string& strText : texts)
        compareOnChanged(input, strText);
}
