// The S-box of AES on bit planes, as logic: no table, so nothing depends on the data.
#pragma once

#include <array>
#include <cstdint>

namespace vdx_crypto {

// Puts every byte of the planes (plane j holds bit j) through the S-box or its inverse.
void aesSubBytes(std::array<std::uint64_t, 8>& q);
void aesInverseSubBytes(std::array<std::uint64_t, 8>& q);

}  // namespace vdx_crypto
