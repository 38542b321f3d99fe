// Base-64 and hexadecimal text against another implementation of the same standard.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <vdx/codecs.h>

#include <random>

#include "text/codec_models.h"

TEST(codecOracle, Base64AsEvpWritesIt) {
    std::mt19937 random(9);
    for (std::size_t n = 1; n < 3000; n += 1 + random() % 20) {
        byteVector bytes(n), lines(n * 2 + 100);
        for (unsigned char& c : bytes)
            c = static_cast<unsigned char>(random());
        EVP_ENCODE_CTX* pContext = EVP_ENCODE_CTX_new();
        EVP_EncodeInit(pContext);
        int nFirst = 0, nLast = 0;
        EVP_EncodeUpdate(pContext, lines.data(), &nFirst, bytes.data(), static_cast<int>(n));
        EVP_EncodeFinal(pContext, lines.data() + nFirst, &nLast);
        EVP_ENCODE_CTX_free(pContext);
        std::string strLines(lines.begin(), lines.begin() + nFirst + nLast);
        ASSERT_EQ(vdxBase642Bin(strLines), bytes);
        std::erase(strLines, '\n');
        ASSERT_EQ(vdxBin2Base64(bytes.data(), static_cast<int>(n)), strLines);
    }
}
