// The exported codecs of bytes to hexadecimal and base-64 text.
#include <vdx/codecs.h>

#include "siblings/qvstl/ascii.h"
#include "text/codec_drivers.h"
#include "text/codec_tables.h"

std::string vdxBin2Text(const void* pData, int nLength) {
    return vdx::codecBin2Text(vdx::getCodecKernels(), pData, nLength);
}

std::string vdxBin2Base16(const void* pData, int nLength) {
    return vdx::codecBin2Base16(vdx::getCodecKernels(), pData, nLength);
}

std::string vdxBin2Base64(const void* pData, int nLength) {
    return vdx::codecBin2Base64(vdx::getCodecKernels(), pData, nLength);
}

std::vector<unsigned char> vdxText2Bin(const std::string& strText) {
    return vdx::codecText2Bin(vdx::getCodecKernels(), strText);
}

std::vector<unsigned char> vdxBase162Bin(const std::string& strText) {
    return vdx::codecBase162Bin(vdx::getCodecKernels(), strText);
}

std::vector<unsigned char> vdxBase642Bin(const std::string& strText) {
    return vdx::codecBase642Bin(vdx::getCodecKernels(), strText);
}

bool fetchBytesFromBase16(const std::string& strText, void* pOut, int nLength) {
    return vdx::codecFetchBase16(vdx::getCodecKernels(), strText, pOut, nLength);
}

unsigned char vdxA2HEX(char c) {
    return vdx::base16Value(c);
}

unsigned char vdxBase64Index(char c) {
    return vdx::base64Value(c);
}

unsigned char vdxSwap8Bit(unsigned char nByte) {
    unsigned n = nByte;
    n = (n & 0xF0u) >> 4 | (n & 0x0Fu) << 4;
    n = (n & 0xCCu) >> 2 | (n & 0x33u) << 2;
    n = (n & 0xAAu) >> 1 | (n & 0x55u) << 1;
    return static_cast<unsigned char>(n);
}

bool vdxIsAssicString(const std::string& strText) {
    return qv::string_is_ascii_string(strText);
}
