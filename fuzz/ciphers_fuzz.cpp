// Ciphers and passwords: no input reads or writes out of bounds, what was encrypted
// comes back.
#include <vdx/cipher.h>
#include <vdx/password.h>

#include "fuzz/fuzz.h"

namespace {

void checkBuffers(PaddingMode mode, const Bytes& key, const Bytes& data) {
    const aesEncrypt cipher(key.data(), sizeOf(key));
    const Bytes secret = cipher.Encrypt(data.data(), sizeOf(data), mode);
    const Bytes plain = cipher.Decrypt(secret.data(), sizeOf(secret), mode);
    require(secret.size() % 16 == 0 && plain.size() <= secret.size());
    require(plain.size() >= data.size() || mode == PaddingZeroExtra || mode > PaddingZeros);
    require(std::equal(plain.begin(), plain.begin() + std::min(sizeOf(plain), sizeOf(data)), data.begin()));
    require(cipher.Decrypt(data.data(), sizeOf(data), mode).size() <= data.size());
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
}
