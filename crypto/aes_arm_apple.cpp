// Whether the ARM processor has AES instructions, on macOS: all of Apple's have.
#include "crypto/aes_engine_arm.h"

bool vdx_crypto::aesArmIsSupported() {
    return true;
}
