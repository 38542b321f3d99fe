// What the fuzz targets share: each defines fuzz() and says by require() what must hold.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/bytes.h"

inline void require(bool bHolds) {
    if (!bHolds) std::abort();
}

// The target's work on one input, which stands in memory of exactly its size: the address sanitizer
// sees any access beyond it.
void fuzz(const Bytes& input);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    fuzz(Bytes(pData, pData + nSize));
    return 0;
}
