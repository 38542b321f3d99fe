// The AES engines of x86 processors.
#pragma once

#include "crypto/aes_engine.h"

namespace vdx_crypto {

extern const aesEngine aesWideEngine;    // VAES on 256-bit registers.
extern const aesEngine aesNarrowEngine;  // AES-NI.

// The key expansion of both.
void aesExpandKeyX86(const unsigned char* key, std::size_t nKeySize, unsigned char* schedule);

}  // namespace vdx_crypto
