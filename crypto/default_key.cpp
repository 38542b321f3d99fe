// The key that serves where none is given.
#include "crypto/default_key.h"

#include <vdx/cipher.h>

namespace {

constexpr char kBuiltInKey[] = "QuietHarborLamps";
static_assert(sizeof kBuiltInKey == vdx_crypto::kDefaultKeySize + 1);

}  // namespace

const char* szMorvaneKey = kBuiltInKey;

const unsigned char* vdx_crypto::defaultKey() {
    const char* szKey = szMorvaneKey != nullptr ? szMorvaneKey : kBuiltInKey;
    return reinterpret_cast<const unsigned char*>(szKey);
}
