// The password functions: their cascade, their shapes, their default key, bad texts.
#include <climits>

#include <gtest/gtest.h>

#include <vdx/cipher.h>
#include <vdx/codecs.h>
#include <vdx/password.h>

#include "crypto/crypto_test.h"

namespace {

const unsigned char* bytesOf(const char* sz) {
    return reinterpret_cast<const unsigned char*>(sz);
}

// The scheme from its parts.
Bytes cascade(const Bytes& plain, const unsigned char* key, int nKeySize) {
    Bytes bytes = aesEncrypt(key, nKeySize).Encrypt(plain.data(), sizeOf(plain), PaddingZeros);
    rc4Transfer(key, nKeySize).Transfer(bytes.data(), sizeOf(bytes));
    return bytes;
}

std::string textOf(const Bytes& bytes) {
    return vdxBin2Base64(bytes.data(), sizeOf(bytes));
}

std::string password(std::size_t n) {
    std::string strText;
    for (std::size_t i = 0; i < n; ++i)
        strText += static_cast<char>(1 + i * 7 % 255);
    return strText;
}

TEST(pswEncrypt, ShapesOfTheText) {
    EXPECT_EQ(pswEncrypt(""), "");
    for (std::size_t n = 1; n <= 32; ++n) {
        const std::string strText = pswEncrypt(password(n));
        EXPECT_EQ(strText.size(), n <= 16 ? 24U : 44U);
        EXPECT_TRUE(strText.ends_with(n <= 16 ? "==" : "=")) << strText;
    }
}

// On both sides of the length up to which the key stream is kept.
TEST(pswEncrypt, IsTheCascadeForEveryKeyAndLength) {
    const Bytes key = randomBytes(300);
    struct {
        const unsigned char* key;
        int nSize;
    } const keys[] = {{nullptr, 0},     {nullptr, 99},     {key.data(), 16},  {key.data(), 24},
                      {key.data(), 32}, {key.data(), 0},   {key.data(), -5},  {key.data(), 5},
                      {key.data(), 17}, {key.data(), 240}, {key.data(), 300}, {key.data(), INT_MIN}};
    for (const std::size_t n : {1U, 15U, 16U, 17U, 255U, 256U, 257U, 5000U}) {
        const std::string strPlain = password(n);
        Bytes plain(strPlain.begin(), strPlain.end());
        for (const auto& k : keys) {
            SCOPED_TRACE(std::to_string(n) + " key " + std::to_string(k.nSize));
            const Bytes expected = cascade(plain, k.key, k.nSize);
            EXPECT_EQ(pswEncryptEx(strPlain, k.key, k.nSize), textOf(expected));
            EXPECT_EQ(pswDecryptEx(textOf(expected), k.key, k.nSize), strPlain);
            EXPECT_EQ(pswEncryptEx(plain.data(), sizeOf(plain), k.key, k.nSize), expected);
            EXPECT_EQ(plain, Bytes(strPlain.begin(), strPlain.end()));
            Bytes modified = expected;
            Bytes padded = plain;
            padded.resize(expected.size());
            EXPECT_EQ(pswDecryptEx(modified.data(), sizeOf(modified), k.key, k.nSize), padded);
            EXPECT_NE(modified, expected);
        }
        EXPECT_EQ(pswEncrypt(strPlain), pswEncryptEx(strPlain, nullptr, 0));
        EXPECT_EQ(pswDecrypt(pswEncrypt(strPlain)), strPlain);
    }
}

// What is remembered of a default key must not outlive its bytes.
TEST(pswEncrypt, FollowsTheDefaultKey) {
    char key[] = "first key, 16 by";
    const std::string strUsual = pswEncrypt("secret");
    szMorvaneKey = key;
    EXPECT_EQ(pswEncrypt("secret"), pswEncryptEx("secret", bytesOf(key), 16));
    EXPECT_NE(pswEncrypt("secret"), strUsual);
    key[15] = 'x';
    EXPECT_EQ(pswEncrypt("secret"), pswEncryptEx("secret", bytesOf(key), 16));
    szMorvaneKey = nullptr;
    EXPECT_EQ(pswEncrypt("secret"), strUsual);
}

TEST(pswDecrypt, TextThatIsNoCipherText) {
    EXPECT_EQ(pswDecrypt(""), "");
    EXPECT_EQ(pswDecrypt("aGVsbG8="), "hello");  // Five bytes: never encrypted.
    EXPECT_EQ(pswDecrypt("aGUAbG8="), "he");
    EXPECT_EQ(pswDecrypt("!?*"), "");
    const std::string strText = pswEncrypt("secret");
    EXPECT_EQ(pswDecrypt(" " + strText.substr(0, 9) + "\r\n-" + strText.substr(9)), "secret");
    EXPECT_EQ(pswDecryptEx(strText, bytesOf("quite another ke"), 16).find("secret"), std::string::npos);
    EXPECT_EQ(pswDecrypt(pswEncrypt(std::string("cut\0off", 7))), "cut");
}

TEST(pswDecryptEx, BadLengthsOfBytes) {
    for (const int nSize : {INT_MIN, -1, 0}) {
        Bytes data(4, 9);
        EXPECT_TRUE(pswEncryptEx(data.data(), nSize, nullptr, 0).empty());
        EXPECT_TRUE(pswDecryptEx(data.data(), nSize, nullptr, 0).empty());
        EXPECT_EQ(data, Bytes(4, 9));
    }
    EXPECT_TRUE(pswEncryptEx(nullptr, 16, nullptr, 0).empty());
    EXPECT_TRUE(pswDecryptEx(nullptr, 16, nullptr, 0).empty());
    Bytes odd = randomBytes(37);
    Bytes stream = odd;
    rc4Transfer(nullptr, 0).Transfer(stream.data(), 37);
    const Bytes plain = pswDecryptEx(odd.data(), 37, nullptr, 0);
    ASSERT_EQ(plain.size(), 37U);
    EXPECT_EQ(Bytes(plain.begin() + 32, plain.end()), Bytes(stream.begin() + 32, stream.end()));
}

}  // namespace
