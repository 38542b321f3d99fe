// The AES engines of processors without instructions for it that we use.
#include "crypto/aes_engine.h"

namespace vdx_crypto {

std::span<const aesEngine* const> aesEngines() {
    static constexpr const aesEngine* kEngines[] = {&aesPortableEngine};
    return kEngines;
}

}  // namespace vdx_crypto
