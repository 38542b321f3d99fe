// Whether the ARM processor has AES instructions, on Linux.
#include <asm/hwcap.h>
#include <sys/auxv.h>

#include "crypto/aes_engine_arm.h"

bool vdx_crypto::aesArmIsSupported() {
    return (getauxval(AT_HWCAP) & HWCAP_AES) != 0;
}
