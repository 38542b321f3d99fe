// Base-64 and hexadecimal text against another implementation of the same standard.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <vdx/codecs.h>

#include <random>

#include "text/codec_models.h"

TEST(codecOracle, Base64EqualsEvp) {
    std::mt19937 random(8);
    for (std::size_t n = 1; n < 2000; n += 1 + random() % 7) {
        std::string strBytes(n, 0);
        for (char& c : strBytes)
            c = static_cast<char>(random());
        const int nLength = static_cast<int>(n);
        std::string strPeer(n * 2 + 5, 0);
        const auto pBytes = reinterpret_cast<const unsigned char*>(strBytes.data());
        const int nPeer = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(strPeer.data()), pBytes, nLength);
        strPeer.resize(static_cast<std::size_t>(nPeer));
        ASSERT_EQ(vdxBin2Base64(strBytes.data(), nLength), strPeer);
        ASSERT_EQ(vdxBase642Bin(strPeer), byteVector(strBytes.begin(), strBytes.end()));
    }
}

TEST(codecOracle, ReadsTheLinesThatEvpWrites) {
    std::mt19937 random(9);
    for (std::size_t n = 1; n < 3000; n += 1 + random() % 50) {
        byteVector bytes(n);
        for (unsigned char& c : bytes)
            c = static_cast<unsigned char>(random());
        byteVector lines(n * 2 + 100);
        EVP_ENCODE_CTX* pContext = EVP_ENCODE_CTX_new();
        EVP_EncodeInit(pContext);
        int nFirst = 0, nLast = 0;
        EVP_EncodeUpdate(pContext, lines.data(), &nFirst, bytes.data(), static_cast<int>(n));
        EVP_EncodeFinal(pContext, lines.data() + nFirst, &nLast);
        EVP_ENCODE_CTX_free(pContext);
        ASSERT_EQ(vdxBase642Bin(std::string(lines.begin(), lines.begin() + nFirst + nLast)), bytes);
    }
}
