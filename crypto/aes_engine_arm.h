// The AES engine of 64-bit ARM processors.
#pragma once

#include "crypto/aes_engine.h"

namespace vdx_crypto {

extern const aesEngine aesArmEngine;

// Whether this processor has the AES instructions; asked of the system.
bool aesArmIsSupported();

}  // namespace vdx_crypto
