// The codecs over a given set of inner loops; the exported functions use the best set.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "text/codec_kernels.h"

namespace vdx {

// As the exported functions of the same names, with the inner loops of `kernels`.
std::string codecBin2Text(const codecKernels& kernels, const void* pData, int nLength);
std::string codecBin2Base16(const codecKernels& kernels, const void* pData, int nLength);
std::string codecBin2Base64(const codecKernels& kernels, const void* pData, int nLength);
std::vector<unsigned char> codecText2Bin(const codecKernels& kernels, std::string_view strText);
std::vector<unsigned char> codecBase162Bin(const codecKernels& kernels, std::string_view strText);
std::vector<unsigned char> codecBase642Bin(const codecKernels& kernels, std::string_view strText);
bool codecFetchBase16(const codecKernels& kernels, std::string_view strText, void* pOut, int nLength);

}  // namespace vdx
