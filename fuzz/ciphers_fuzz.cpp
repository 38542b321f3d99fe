// Ciphers and passwords: no input reads or writes out of bounds, the engines agree, what was
// encrypted comes back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <vdx/cipher.h>
#include <vdx/password.h>

#include "crypto/aes_engine.h"

namespace {

using Bytes = std::vector<unsigned char>;

void require(bool bTrue) {
    if (!bTrue) std::abort();
}

int sizeOf(const Bytes& bytes) {
    return static_cast<int>(bytes.size());
}

// The input: mode, length of the key (any), then the key, then the data.
struct Input {
    PaddingMode mode;
    Bytes key;
    Bytes data;
};

Input split(const std::uint8_t* pData, std::size_t nSize) {
    const std::size_t nKey = std::min<std::size_t>(pData[1], nSize - 2);
    return {static_cast<PaddingMode>(pData[0] % 7), Bytes(pData + 2, pData + 2 + nKey),
            Bytes(pData + 2 + nKey, pData + nSize)};
}

void checkBuffers(const Input& in) {
    const aesEncrypt cipher(in.key.data(), sizeOf(in.key));
    const Bytes secret = cipher.Encrypt(in.data.data(), sizeOf(in.data), in.mode);
    const Bytes plain = cipher.Decrypt(secret.data(), sizeOf(secret), in.mode);
    require(secret.size() % 16 == 0 && plain.size() <= secret.size());
    require(plain.size() >= in.data.size() || in.mode == PaddingZeroExtra || in.mode > PaddingZeros);
    require(
        std::equal(plain.begin(), plain.begin() + std::min(sizeOf(plain), sizeOf(in.data)), in.data.begin()));
    require(cipher.Decrypt(in.data.data(), sizeOf(in.data), in.mode).size() <= in.data.size());
}

void checkEngines(const Input& in) {
    if (in.key.size() != 16 && in.key.size() != 24 && in.key.size() != 32) return;
    const auto& best = vdx_crypto::aesBestEngine();
    const auto& portable = vdx_crypto::aesPortableEngine;
    const int rounds = sizeOf(in.key) / 4 + 6;
    unsigned char one[vdx_crypto::kAesMaxSchedule], two[vdx_crypto::kAesMaxSchedule];
    best.expandKey(in.key.data(), in.key.size(), one);
    portable.expandKey(in.key.data(), in.key.size(), two);
    const std::size_t nBlocks = in.data.size() / 16;
    Bytes left(in.data.size()), right(in.data.size());
    best.encrypt(one, rounds, in.data.data(), left.data(), nBlocks);
    portable.encrypt(two, rounds, in.data.data(), right.data(), nBlocks);
    require(left == right);
    best.decrypt(one, rounds, in.data.data(), left.data(), nBlocks);
    portable.decrypt(two, rounds, in.data.data(), right.data(), nBlocks);
    require(left == right);
}

void checkPasswords(const Input& in) {
    const std::string strText(in.data.begin(), in.data.end());
    const int nKey = sizeOf(in.key);
    pswDecryptEx(strText, in.key.data(), nKey);
    pswDecrypt(strText);
    const std::string strPlain = strText.substr(0, strText.find('\0'));
    require(pswDecryptEx(pswEncryptEx(strText, in.key.data(), nKey), in.key.data(), nKey) == strPlain);
    require(pswDecrypt(pswEncrypt(strText)) == strPlain);
    Bytes bytes = in.data;
    require(pswDecryptEx(bytes.data(), sizeOf(bytes), in.key.data(), nKey).size() == bytes.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize < 2) return 0;
    const Input in = split(pData, nSize);
    checkBuffers(in);
    checkEngines(in);
    checkPasswords(in);
    return 0;
}
