// The password functions: their cascade, their shapes, their default key, bad texts.
#include <climits>

#include <gtest/gtest.h>

#include <vdx/cipher.h>
#include <vdx/codecs.h>
#include <vdx/password.h>

#include "support/bytes.h"

namespace {

// The scheme from its parts.
Bytes cascade(const Bytes& plain, const unsigned char* key, int nKeySize) {
    Bytes bytes = aesEncrypt(key, nKeySize).Encrypt(plain.data(), sizeOf(plain), PaddingZeros);
    rc4Transfer(key, nKeySize).Transfer(bytes.data(), sizeOf(bytes));
    return bytes;
}

// On both sides of the length up to which the default key's stream is kept. That decryption gives the text
// back is the fuzz target's to show.
TEST(pswEncrypt, IsTheCascadeForEveryKeyAndLength) {
    const Bytes key = randomBytes(300);
    const std::pair<const unsigned char*, int> keys[] = {{nullptr, 99},     {key.data(), 16},
                                                         {key.data(), 24},  {key.data(), 17},
                                                         {key.data(), 300}, {key.data(), INT_MIN}};
    for (const std::size_t n : {1U, 15U, 16U, 17U, 255U, 256U, 257U, 5000U}) {
        const std::string strPlain(n, 'p');
        Bytes plain = bytesOf(strPlain);
        for (const auto& [pKey, nKey] : keys) {
            SCOPED_TRACE(std::to_string(n) + " key " + std::to_string(nKey));
            const Bytes expected = cascade(plain, pKey, nKey);
            EXPECT_EQ(pswEncryptEx(strPlain, pKey, nKey), vdxBin2Base64(expected.data(), sizeOf(expected)));
            EXPECT_EQ(pswEncryptEx(plain.data(), sizeOf(plain), pKey, nKey), expected);
            Bytes modified = expected, padded = plain;
            padded.resize(expected.size());
            EXPECT_EQ(pswDecryptEx(modified.data(), sizeOf(modified), pKey, nKey), padded);
            EXPECT_NE(modified, expected) << "kept: the caller's bytes go through RC4";
        }
        EXPECT_EQ(pswEncrypt(strPlain), pswEncryptEx(strPlain, nullptr, 0));
    }
    EXPECT_EQ(pswEncrypt(""), "");
}

// The key may point elsewhere or its bytes may change: what is remembered of it must not outlive them.
TEST(DefaultKey, IsReadAtEachUse) {
    const auto secrets = [](const unsigned char* key) {
        Bytes data(32, 'd');
        rc4Transfer(key, 16).Transfer(data.data(), 16);
        const Bytes secret = aesEncrypt(key, 16).Encrypt(data.data(), 32, PaddingZeros);
        return vdxBin2Base64(secret.data(), 32) + pswEncryptEx("secret", key, 16);
    };
    char own[] = "first key, 16 by";
    const std::string strUsual = secrets(bytesOf("QuietHarborLamps").data());
    EXPECT_EQ(secrets(nullptr), strUsual);
    szMorvaneKey = own;
    EXPECT_EQ(secrets(nullptr), secrets(bytesOf(own).data()));
    own[15] = 'x';
    EXPECT_EQ(secrets(nullptr), secrets(bytesOf(own).data()));
    EXPECT_NE(secrets(nullptr), strUsual);
    szMorvaneKey = nullptr;
    EXPECT_EQ(secrets(nullptr), strUsual);
}

TEST(pswDecrypt, TextThatIsNoCipherText) {
    EXPECT_EQ(pswDecrypt(""), "");
    EXPECT_EQ(pswDecrypt("aGUAbGxvLCB0aGlzIGlzIDI="), "he");  // 17 bytes: never encrypted.
    EXPECT_EQ(pswDecrypt("!?*"), "");
    const std::string strText = pswEncrypt("secret");
    EXPECT_EQ(pswDecrypt(" " + strText.substr(0, 9) + "\r\n-" + strText.substr(9)), "secret");
    EXPECT_EQ(pswDecryptEx(strText, bytesOf("quite another ke").data(), 16).find("secret"),
              std::string::npos);
    EXPECT_EQ(pswDecrypt(pswEncrypt(std::string("cut\0off", 7))), "cut");
}

TEST(pswDecryptEx, BadLengthsOfBytes) {
    Bytes data = randomBytes(37), stream = data;
    const std::pair<unsigned char*, int> nothing[] = {
        {data.data(), INT_MIN}, {data.data(), 0}, {nullptr, 16}};
    for (const auto& [pData, nSize] : nothing) {
        EXPECT_TRUE(pswEncryptEx(pData, nSize, nullptr, 0).empty());
        EXPECT_TRUE(pswDecryptEx(pData, nSize, nullptr, 0).empty());
    }
    rc4Transfer(nullptr, 0).Transfer(stream.data(), 37);
    const Bytes plain = pswDecryptEx(data.data(), 37, nullptr, 0);
    ASSERT_EQ(plain.size(), 37U);
    EXPECT_EQ(Bytes(plain.begin() + 32, plain.end()), Bytes(stream.begin() + 32, stream.end()));
}

}  // namespace
