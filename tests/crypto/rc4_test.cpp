// RC4 against the published key streams, in pieces, and with bad arguments.
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include <vdx/cipher.h>

#include "crypto/crypto_test.h"
#include "support/vectors.h"

namespace {

Bytes keyStream(const unsigned char* key, int nKeySize, std::size_t n) {
    Bytes stream(n);
    rc4Transfer(key, nKeySize).Transfer(stream.data(), sizeOf(stream));
    return stream;
}

const unsigned char* bytesOf(const char* sz) {
    return reinterpret_cast<const unsigned char*>(sz);
}

TEST(rc4Transfer, Rfc6229KeyStreams) {
    const auto rows = readVectors("rc4_rfc6229.vec");
    ASSERT_EQ(rows.size(), 14U * 18U);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0] + " at " + row[1]);
        const Bytes key = bytesOfHex(row[0]);
        const Bytes stream = keyStream(key.data(), sizeOf(key), 4112);
        const auto at = stream.begin() + std::stoi(row[1]);
        EXPECT_EQ(Bytes(at, at + 16), bytesOfHex(row[2]));
    }
}

TEST(rc4Transfer, PublishedPlainText) {
    std::string strText = "Plaintext";
    rc4Transfer(bytesOf("Key"), 3).Transfer(reinterpret_cast<unsigned char*>(strText.data()), 9);
    EXPECT_EQ(strText, "\xBB\xF3\x16\xE8\xD9\x40\xAF\x0A\xD3");
}

// However a stream is cut, it is the same stream.
TEST(rc4Transfer, PiecesContinueTheStream) {
    const Bytes key = randomBytes(16);
    const Bytes whole = keyStream(key.data(), 16, 1000);
    for (std::size_t nPiece = 1; nPiece <= 40; ++nPiece) {
        Bytes pieces(1000);
        rc4Transfer cipher(key.data(), 16);
        for (std::size_t i = 0; i < pieces.size(); i += nPiece) {
            cipher.Transfer(&pieces[i], static_cast<int>(std::min(nPiece, pieces.size() - i)));
        }
        ASSERT_EQ(pieces, whole) << nPiece;
    }
}

TEST(rc4Transfer, DefaultKeyAndBadArguments) {
    const Bytes usual = keyStream(bytesOf("QuietHarborLamps"), 16, 64);
    EXPECT_EQ(keyStream(nullptr, 5, 64), usual);
    EXPECT_EQ(keyStream(bytesOf("k"), 0, 64), usual);
    EXPECT_EQ(keyStream(bytesOf("k"), INT_MIN, 64), usual);
    Bytes longKey = randomBytes(300);
    const Bytes stream = keyStream(longKey.data(), 300, 64);
    longKey[299] ^= 1;
    EXPECT_EQ(keyStream(longKey.data(), 300, 64), stream);

    rc4Transfer cipher(nullptr, 0);
    Bytes data(8);
    cipher.Transfer(data.data(), 0);
    cipher.Transfer(data.data(), -8);
    cipher.Transfer(data.data(), INT_MIN);
    cipher.Transfer(nullptr, 8);
    EXPECT_EQ(data, Bytes(8));
    cipher.Transfer(data.data(), 8);
    EXPECT_EQ(data, Bytes(usual.begin(), usual.begin() + 8));
}

}  // namespace
