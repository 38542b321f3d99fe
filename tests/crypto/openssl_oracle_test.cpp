// Random keys and texts against OpenSSL.
#include <memory>

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <vdx/cipher.h>

#include "crypto/crypto_test.h"

namespace {

Bytes openssl(const EVP_CIPHER* pCipher, bool bEncrypt, const Bytes& key, const Bytes& data, bool bPadding) {
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                             EVP_CIPHER_CTX_free);
    Bytes out(data.size() + 32);
    int n = 0, nLast = 0;
    EVP_CipherInit_ex(context.get(), pCipher, nullptr, key.data(), nullptr, bEncrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(context.get(), bPadding ? 1 : 0);
    EVP_CipherUpdate(context.get(), out.data(), &n, data.data(), sizeOf(data));
    EVP_CipherFinal_ex(context.get(), out.data() + n, &nLast);
    out.resize(static_cast<std::size_t>(n + nLast));
    return out;
}

TEST(OpensslOracle, AesEcbWithPkcs7) {
    const struct {
        int nKey;
        const EVP_CIPHER* pCipher;
    } rows[] = {{16, EVP_aes_128_ecb()}, {24, EVP_aes_192_ecb()}, {32, EVP_aes_256_ecb()}};
    for (const auto& row : rows) {
        for (unsigned n = 1; n <= 600; n += 7) {
            SCOPED_TRACE(std::to_string(row.nKey) + " " + std::to_string(n));
            const Bytes key = randomBytes(static_cast<std::size_t>(row.nKey), n),
                        data = randomBytes(n, n + 1);
            const aesEncrypt cipher(key.data(), row.nKey);
            const Bytes secret = cipher.Encrypt(data.data(), sizeOf(data), PaddingPKCS7);
            ASSERT_EQ(secret, openssl(row.pCipher, true, key, data, true));
            ASSERT_EQ(cipher.Decrypt(secret.data(), sizeOf(secret), PaddingPKCS7), data);
            const Bytes noise = randomBytes((n + 15) / 16 * 16, n + 2);
            ASSERT_EQ(cipher.Decrypt(noise.data(), sizeOf(noise), PaddingZeros),
                      openssl(row.pCipher, false, key, noise, false));
        }
    }
}

}  // namespace
