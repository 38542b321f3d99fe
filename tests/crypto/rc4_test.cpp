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

// However a stream is cut, it is the same stream; calls without data take nothing of it.
TEST(rc4Transfer, PiecesContinueTheStream) {
    const Bytes key = randomBytes(16);
    const Bytes whole = keyStream(key.data(), 16, 1000);
    for (std::size_t nPiece = 1; nPiece <= 40; ++nPiece) {
        Bytes pieces(1000);
        rc4Transfer cipher(key.data(), 16);
        for (std::size_t i = 0; i < pieces.size(); i += nPiece) {
            cipher.Transfer(nullptr, 8);
            cipher.Transfer(&pieces[i], i % 2 ? 0 : INT_MIN);
            cipher.Transfer(&pieces[i], static_cast<int>(std::min(nPiece, pieces.size() - i)));
        }
        ASSERT_EQ(pieces, whole) << nPiece;
    }
}

TEST(rc4Transfer, KeysWithoutSizeAndTooLongOnes) {
    EXPECT_EQ(keyStream(bytesOf("k"), 0, 64), keyStream(nullptr, 5, 64));
    EXPECT_EQ(keyStream(bytesOf("k"), INT_MIN, 64), keyStream(nullptr, 5, 64));
    const Bytes key = randomBytes(300);
    EXPECT_EQ(keyStream(key.data(), 300, 64), keyStream(key.data(), 256, 64));
}

}  // namespace
