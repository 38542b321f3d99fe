// AES against the published vectors, its engines against each other, padding; RC4 against the published
// key streams and in pieces; bad arguments.
#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <vdx/cipher.h>

#include "crypto/aes_blocks.h"
#include "crypto/aes_engine.h"
#include "support/bytes.h"
#include "support/guarded_buffer.h"
#include "support/vectors.h"

namespace {

using namespace vdx_crypto;

Bytes expand(const aesEngine& engine, const Bytes& key) {
    Bytes schedule(key.size() * 4 + 112);
    engine.expandKey(key.data(), key.size(), schedule.data());
    return schedule;
}

Bytes repeated(const Bytes& bytes, std::size_t nSize) {
    Bytes all(nSize);
    for (std::size_t i = 0; i < nSize; ++i)
        all[i] = bytes[i % bytes.size()];
    return all;
}

// By every engine that this processor can run, for all numbers of blocks around the groups that they take
// at once, in buffers that end at a forbidden page and begin at any address; and by the class.
TEST(Aes, PublishedVectorsInBothDirectionsAtAllLengths) {
    auto rows = readVectors("aes_fips197.vec");
    const auto more = readVectors("aes_sp800_38a_ecb.vec");
    rows.insert(rows.end(), more.begin(), more.end());
    ASSERT_EQ(rows.size(), 7U);
    for (const auto& row : rows) {
        const Bytes key = bytesOfHex(row[0]), plain = bytesOfHex(row[1]), cipher = bytesOfHex(row[2]);
        const int rounds = sizeOf(key) / 4 + 6;
        for (const aesEngine* pEngine : aesEngines()) {
            if (!pEngine->isSupported()) continue;
            const Bytes schedule = expand(*pEngine, key);
            ASSERT_EQ(schedule, expand(aesPortableEngine, key));
            for (std::size_t nBlocks = 0; nBlocks <= 40; ++nBlocks) {
                SCOPED_TRACE(row[0] + pEngine->szName + std::to_string(nBlocks));
                const Bytes plains = repeated(plain, 16 * nBlocks), ciphers = repeated(cipher, 16 * nBlocks);
                GuardedBuffer<unsigned char> in(plains.size()), out(plains.size() + nBlocks % 16);
                in.copyOf(plains);
                pEngine->encrypt(schedule.data(), rounds, in.data(), out.data(), nBlocks);
                ASSERT_EQ(Bytes(out.data(), out.data() + plains.size()), ciphers);
                pEngine->encrypt(schedule.data(), rounds, in.data(), in.data(), nBlocks);
                ASSERT_EQ(Bytes(in.data(), in.data() + plains.size()), ciphers);
                pEngine->decrypt(schedule.data(), rounds, out.data(), in.data(), nBlocks);
                ASSERT_EQ(Bytes(in.data(), in.data() + plains.size()), plains);
            }
        }
        const aesEncrypt whole(key.data(), sizeOf(key));
        EXPECT_EQ(whole.Encrypt(plain.data(), sizeOf(plain), PaddingZeros), cipher);
    }
}

TEST(aesEncrypt128bit, AnyScheduleLengthStaysInBounds) {
    GuardedBuffer<unsigned char> schedule(240);
    std::memset(schedule.data(), 0x5A, 240);
    const Bytes plain = randomBytes(16);
    for (const int nLength : {INT_MIN, -16, -1, 0, 15, 16, 31, 32, 33, 160, 239, 240, 256, 100000, INT_MAX}) {
        SCOPED_TRACE(nLength);
        Bytes block = plain;
        aesEncrypt128bit(block.data(), nLength < 16 ? nullptr : schedule.data(), nLength, block.data());
        EXPECT_EQ(block == plain, nLength < 16);
        aesDecrypt128bit(block.data(), nLength < 16 ? nullptr : schedule.data(), nLength, block.data());
        EXPECT_EQ(block, plain);
    }
}

TEST(clonePlainWithPadding, Modes) {
    const auto rows = readVectors("padding.vec");
    EXPECT_EQ(rows.size(), 11U);
    const Bytes data = randomBytes(16);
    for (const auto& row : rows) {
        std::vector<int> n;
        for (const std::string& strField : row)
            n.push_back(std::stoi(strField));
        Bytes expected(data.begin(), data.begin() + std::max(n[0], 0));
        expected.resize(expected.size() + static_cast<std::size_t>(n[3]), static_cast<unsigned char>(n[4]));
        if (n[3] > 0) expected.back() = static_cast<unsigned char>(n[5]);
        const auto mode = static_cast<PaddingMode>(n[2]);
        EXPECT_EQ(clonePlainWithPadding(data.data(), n[0], n[1], mode), expected) << n[0] << ' ' << n[2];
    }
    EXPECT_EQ(clonePlainWithPadding(nullptr, 9, 8, PaddingPKCS7), Bytes(8, 8));
    const Bytes filled = clonePlainWithPadding(data.data(), 5, 16, PaddingISO10126);
    ASSERT_EQ(filled.size(), 16U);
    EXPECT_EQ(filled.back(), 11);
}

TEST(aesEncrypt, DecryptLooksAtTheLastByteOnly) {
    Bytes data = randomBytes(32);
    const aesEncrypt cipher(data.data(), 24);
    for (int nLast = 0; nLast <= 255; ++nLast) {
        data.back() = static_cast<unsigned char>(nLast);
        const Bytes secret = cipher.Encrypt(data.data(), 32, PaddingZeros);
        const Bytes cut(data.begin(), data.end() - (nLast <= 16 ? nLast : 0));
        ASSERT_EQ(cipher.Decrypt(secret.data(), 32, PaddingZeroExtra), cut);
        ASSERT_EQ(cipher.Decrypt(secret.data(), 32, PaddingZeros), data);
    }
}

TEST(aesEncrypt, BadLengthsAndUnsupportedKeySizes) {
    const Bytes data = randomBytes(32);
    aesEncrypt cipher(data.data(), 16);
    EXPECT_TRUE(cipher.Decrypt(nullptr, 64, PaddingPKCS7).empty());
    EXPECT_TRUE(cipher.Encrypt(nullptr, 64, PaddingZeros).empty());
    EXPECT_TRUE(cipher.Decrypt(data.data(), -3, PaddingPKCS7).empty());
    EXPECT_TRUE(cipher.Decrypt(Bytes(3, 16).data(), 3, PaddingPKCS7).empty()) << "more padding than bytes";
    // Blocks are handed on then, though there is a schedule of an earlier key.
    for (const int nSize : {INT_MIN, -1, 0, 1, 15, 17, 31, 33, 240, 300}) {
        GuardedBuffer<unsigned char> key(static_cast<std::size_t>(std::max(nSize, 0)));
        std::fill_n(key.data(), std::max(nSize, 0), 0x5A);
        cipher.SetKey(key.data(), nSize);
        // The object begins with its schedule, which takes what fits of such a key.
        EXPECT_EQ(std::memcmp(&cipher, key.data(), static_cast<std::size_t>(std::clamp(nSize, 0, 240))), 0);
        EXPECT_EQ(cipher.Encrypt(data.data(), 32, PaddingZeros), data) << nSize;
        EXPECT_EQ(cipher.Decrypt(data.data(), 32, PaddingZeros), data) << nSize;
    }
}

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
    const Bytes key = randomBytes(300);
    for (const int nSize : {0, INT_MIN})
        EXPECT_EQ(keyStream(key.data(), nSize, 64), keyStream(nullptr, 5, 64));
    EXPECT_EQ(keyStream(key.data(), 300, 64), keyStream(key.data(), 256, 64));
    EXPECT_NE(keyStream(key.data(), 256, 64), keyStream(key.data(), 255, 64));
}

}  // namespace
