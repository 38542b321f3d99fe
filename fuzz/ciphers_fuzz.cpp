// Ciphers and passwords: no input reads or writes out of bounds, the engines agree, what was
// encrypted comes back.
#include <vdx/cipher.h>
#include <vdx/password.h>

#include "crypto/aes_engine.h"
#include "fuzz/fuzz.h"

namespace {

// The data encrypted, then the data decrypted.
Bytes resultsOf(const vdx_crypto::aesEngine& engine, const Bytes& key, const Bytes& data) {
    unsigned char schedule[vdx_crypto::kAesMaxSchedule];
    engine.expandKey(key.data(), key.size(), schedule);
    const int rounds = sizeOf(key) / 4 + 6;
    Bytes results(2 * data.size());
    engine.encrypt(schedule, rounds, data.data(), results.data(), data.size() / 16);
    engine.decrypt(schedule, rounds, data.data(), results.data() + data.size(), data.size() / 16);
    return results;
}

void checkBuffers(PaddingMode mode, const Bytes& key, const Bytes& data) {
    const bool bKey = key.size() == 16 || key.size() == 24 || key.size() == 32;
    const aesEncrypt cipher(key.data(), sizeOf(key));
    const Bytes secret = cipher.Encrypt(data.data(), sizeOf(data), mode);
    const Bytes padded = clonePlainWithPadding(data.data(), sizeOf(data), 16, mode);
    Bytes expected = bKey ? resultsOf(vdx_crypto::aesPortableEngine, key, padded) : padded;
    expected.resize(padded.size());
    // The filler of ISO 10126 is the time; an empty key is the default one, another size lets blocks through.
    require(key.empty() || mode == PaddingISO10126 || secret == expected);
    require(cipher.Decrypt(secret.data(), sizeOf(secret), PaddingZeros).size() == padded.size());
    const Bytes plain = cipher.Decrypt(secret.data(), sizeOf(secret), mode);
    require(plain == data || mode == PaddingZeroExtra || mode >= PaddingZeros);
    require(std::equal(plain.begin(), plain.begin() + std::min(sizeOf(plain), sizeOf(data)), data.begin()));
    // What is behind the last whole block stays as it is.
    const Bytes back = cipher.Decrypt(data.data(), sizeOf(data), PaddingZeros);
    const auto nWhole = sizeOf(data) / 16 * 16;
    require(back.size() == data.size() &&
            std::equal(back.begin() + nWhole, back.end(), data.begin() + nWhole));
}

void checkPasswords(const Bytes& key, Bytes data) {
    const std::string strText = textOf(data), strPlain = strText.substr(0, strText.find('\0'));
    pswDecryptEx(strText, key.data(), sizeOf(key));
    pswDecrypt(strText);
    const std::string strSecret = pswEncryptEx(strText, key.data(), sizeOf(key));
    require(pswDecryptEx(strSecret, key.data(), sizeOf(key)) == strPlain);
    require(pswDecrypt(pswEncrypt(strText)) == strPlain);
    require(pswDecryptEx(data.data(), sizeOf(data), key.data(), sizeOf(key)).size() == data.size());
}

}  // namespace

// The input: mode, length of the key (any), then the key, then the data.
void fuzz(const Bytes& input) {
    if (input.size() < 2) return;
    const auto keyEnd = input.begin() + std::min(2 + input[1], sizeOf(input));
    const Bytes key(input.begin() + 2, keyEnd), data(keyEnd, input.end());
    checkBuffers(static_cast<PaddingMode>(input[0] % 7), key, data);
    checkPasswords(key, data);
    if (key.size() != 16 && key.size() != 24 && key.size() != 32) return;
    const Bytes expected = resultsOf(vdx_crypto::aesPortableEngine, key, data);
    for (const vdx_crypto::aesEngine* pEngine : vdx_crypto::aesEngines())
        require(!pEngine->isSupported() || resultsOf(*pEngine, key, data) == expected);
}
