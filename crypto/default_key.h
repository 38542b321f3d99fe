// The key that serves where none is given.
#pragma once

namespace vdx_crypto {

constexpr int kDefaultKeySize = 16;

// The 16 bytes that szMorvaneKey points at now.
const unsigned char* defaultKey();

}  // namespace vdx_crypto
