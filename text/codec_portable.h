// The portable loops, with which the vector sets finish what is shorter than a block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vdx {

// As the members of codecKernels.
void portableEncodeBase16(const std::uint8_t* pIn, std::size_t n, char* pOut);
void portableEncodeSpaced(const std::uint8_t* pIn, std::size_t n, char* pOut);
void portableEncodeBase64(const std::uint8_t* pIn, std::size_t n, char* pOut);
std::size_t portableDecodeBase16(const char* pText, std::size_t n, std::uint8_t* pOut);
std::size_t portableDecodeSpaced(const char* pText, std::size_t n, std::uint8_t* pOut);
std::size_t portableDecodeBase64(const char* pText, std::size_t n, std::uint8_t* pOut);

}  // namespace vdx
