// The choice among the AES engines on 64-bit ARM.
#include "crypto/aes_engine_arm.h"

namespace vdx_crypto {

std::span<const aesEngine* const> aesEngines() {
    static constexpr const aesEngine* kEngines[] = {&aesArmEngine, &aesPortableEngine};
    return kEngines;
}

}  // namespace vdx_crypto
