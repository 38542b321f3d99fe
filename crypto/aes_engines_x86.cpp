// The choice among the AES engines on x86.
#include "crypto/aes_engine_x86.h"

namespace vdx_crypto {

std::span<const aesEngine* const> aesEngines() {
    static constexpr const aesEngine* kEngines[] = {&aesWideEngine, &aesNarrowEngine, &aesPortableEngine};
    return kEngines;
}

}  // namespace vdx_crypto
