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
#include "crypto/crypto_test.h"
#include "support/guarded_buffer.h"
#include "support/vectors.h"

namespace {

using namespace vdx_crypto;

// Every engine that this processor can run; the portable one is always among them.
std::vector<const aesEngine*> usableEngines() {
    std::vector<const aesEngine*> engines;
    for (const aesEngine* pEngine : aesEngines()) {
        if (pEngine->isSupported()) engines.push_back(pEngine);
    }
    return engines;
}

int roundsFor(const Bytes& key) {
    return static_cast<int>(key.size()) / 4 + 6;
}

Bytes expand(const aesEngine& engine, const Bytes& key) {
    Bytes schedule(kAesBlock * static_cast<std::size_t>(roundsFor(key) + 1));
    engine.expandKey(key.data(), key.size(), schedule.data());
    return schedule;
}

// By each engine, in place, and by the class.
TEST(Aes, PublishedVectorsInBothDirections) {
    auto rows = readVectors("aes_fips197.vec");
    const auto more = readVectors("aes_sp800_38a_ecb.vec");
    rows.insert(rows.end(), more.begin(), more.end());
    ASSERT_EQ(rows.size(), 7U);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0]);
        const Bytes key = bytesOfHex(row[0]), plain = bytesOfHex(row[1]), cipher = bytesOfHex(row[2]);
        const Bytes schedule = expand(aesPortableEngine, key);
        for (const aesEngine* pEngine : usableEngines()) {
            SCOPED_TRACE(pEngine->szName);
            Bytes text = plain;
            pEngine->encrypt(schedule.data(), roundsFor(key), text.data(), text.data(), text.size() / 16);
            EXPECT_EQ(text, cipher);
            pEngine->decrypt(schedule.data(), roundsFor(key), text.data(), text.data(), text.size() / 16);
            EXPECT_EQ(text, plain);
        }
        const aesEncrypt whole(key.data(), sizeOf(key));
        EXPECT_EQ(whole.Encrypt(plain.data(), sizeOf(plain), PaddingZeros), cipher);
    }
}

// All numbers of blocks around the groups that the engines take at once, in buffers that
// end at a forbidden page and begin at any address.
TEST(AesEngine, AllEnginesAgree) {
    for (const std::size_t nKey : {16U, 24U, 32U}) {
        const Bytes key = randomBytes(nKey, static_cast<unsigned>(nKey));
        const int rounds = roundsFor(key);
        const Bytes schedule = expand(aesPortableEngine, key);
        for (std::size_t nBlocks = 0; nBlocks <= 40; ++nBlocks) {
            const Bytes plain = randomBytes(nBlocks * kAesBlock, static_cast<unsigned>(nBlocks));
            Bytes expected(plain.size()), back(plain.size());
            aesPortableEngine.encrypt(schedule.data(), rounds, plain.data(), expected.data(), nBlocks);
            aesPortableEngine.decrypt(schedule.data(), rounds, expected.data(), back.data(), nBlocks);
            ASSERT_EQ(back, plain);
            for (const aesEngine* pEngine : usableEngines()) {
                SCOPED_TRACE(pEngine->szName + (" " + std::to_string(nBlocks)));
                ASSERT_EQ(expand(*pEngine, key), schedule);
                GuardedBuffer<unsigned char> in(plain.size()), out(plain.size() + nBlocks % 16);
                if (nBlocks > 0) std::memcpy(in.data(), plain.data(), plain.size());
                pEngine->encrypt(schedule.data(), rounds, in.data(), out.data(), nBlocks);
                ASSERT_EQ(Bytes(out.data(), out.data() + plain.size()), expected);
                pEngine->decrypt(schedule.data(), rounds, out.data(), in.data(), nBlocks);
                ASSERT_EQ(Bytes(in.data(), in.data() + plain.size()), plain);
            }
        }
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
    struct {
        const char* szLabel;
        int nSize, nBlock, nMode;
        Bytes padding;
    } const rows[] = {
        {"PKCS7 aligned", 16, 16, PaddingPKCS7, Bytes(16, 16)},
        {"PKCS7", 5, 16, PaddingPKCS7, Bytes(11, 11)},
        {"zeros aligned", 16, 16, PaddingZeros, {}},
        {"zeros", 5, 8, PaddingZeros, Bytes(3, 0)},
        {"zero extra aligned", 16, 16, PaddingZeroExtra, Bytes(16, 0)},
        {"ANSI", 5, 16, PaddingANSIX923, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 11}},
        {"unknown mode", 4, 4, 77, Bytes(4, 0)},
        {"wide block", 1, 300, PaddingPKCS7, Bytes(299, 299 - 256)},
        {"no block", 3, -16, PaddingPKCS7, {}},
        {"lowest length", INT_MIN, 4, PaddingPKCS7, Bytes(4, 4)},
    };
    const Bytes data = randomBytes(16);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        Bytes expected(data.begin(), data.begin() + std::max(row.nSize, 0));
        expected.insert(expected.end(), row.padding.begin(), row.padding.end());
        const auto mode = static_cast<PaddingMode>(row.nMode);
        EXPECT_EQ(clonePlainWithPadding(data.data(), row.nSize, row.nBlock, mode), expected);
    }
    EXPECT_EQ(clonePlainWithPadding(nullptr, 9, 8, PaddingPKCS7), Bytes(8, 8));
    const Bytes filled = clonePlainWithPadding(data.data(), 5, 16, PaddingISO10126);
    ASSERT_EQ(filled.size(), 16U);
    EXPECT_EQ(filled.back(), 11);
}

// A buffer is its padded copy with every block encrypted alone, and comes back where the padding tells
// its size; up to 48 bytes and on both sides of the steps in which results grow.
TEST(aesEncrypt, BlocksOfThePaddedCopyAndBack) {
    const Bytes key = randomBytes(32), data = randomBytes(5000);
    const aesEncrypt cipher(key.data(), 32);
    const Bytes schedule = expand(aesPortableEngine, key);
    for (const int nStep : {0, 2000, 4050, 4950}) {
        for (int nSize = nStep; nSize <= nStep + 70 && nSize <= 5000; ++nSize) {
            for (int nMode = PaddingZeroExtra; nMode <= PaddingZeros; ++nMode) {
                SCOPED_TRACE(std::to_string(nSize) + " mode " + std::to_string(nMode));
                const auto mode = static_cast<PaddingMode>(nMode);
                Bytes expected = clonePlainWithPadding(data.data(), nSize, 16, mode);
                for (std::size_t i = 0; i < expected.size(); i += 16)
                    aesEncrypt128bit(&expected[i], schedule.data(), 240, &expected[i]);
                const Bytes secret = cipher.Encrypt(data.data(), nSize, mode);
                // The filler of ISO 10126 is the time.
                if (mode != PaddingISO10126) {
                    ASSERT_EQ(secret, expected);
                }
                if (mode == PaddingZeroExtra || mode == PaddingZeros) continue;
                const Bytes plain(data.begin(), data.begin() + nSize);
                ASSERT_EQ(cipher.Decrypt(secret.data(), sizeOf(secret), mode), plain);
            }
        }
    }
}

TEST(aesEncrypt, DecryptLooksAtTheLastByteOnly) {
    Bytes data = randomBytes(32);
    const aesEncrypt cipher(data.data(), 24);
    for (std::size_t nLast = 0; nLast <= 255; ++nLast) {
        data.back() = static_cast<unsigned char>(nLast);
        const Bytes secret = cipher.Encrypt(data.data(), 32, PaddingZeros);
        const std::size_t nCut = nLast <= 16 ? nLast : 0;
        ASSERT_EQ(cipher.Decrypt(secret.data(), 32, PaddingZeroExtra).size(), 32 - nCut);
        ASSERT_EQ(cipher.Decrypt(secret.data(), 32, PaddingZeros), data);
    }
}

TEST(aesEncrypt, BadLengthsOfCipherText) {
    const aesEncrypt cipher(nullptr, 0);
    for (int nSize = -3; nSize < 40; ++nSize) {
        const auto nBytes = static_cast<std::size_t>(std::max(nSize, 0));
        GuardedBuffer<unsigned char> text(nBytes);
        std::memset(text.data(), 200, nBytes);
        const Bytes plain = cipher.Decrypt(text.data(), nSize, PaddingZeros);
        ASSERT_EQ(plain.size(), nBytes);
        ASSERT_EQ(std::count(plain.begin() + nBytes / 16 * 16, plain.end(), 200), nBytes % 16);
        if (nBytes > 0) text[nBytes - 1] = 16;  // More padding than there are bytes.
        ASSERT_LE(cipher.Decrypt(text.data(), nSize, PaddingPKCS7).size(), nBytes);
    }
    EXPECT_TRUE(cipher.Decrypt(nullptr, 64, PaddingPKCS7).empty());
    EXPECT_TRUE(cipher.Encrypt(nullptr, 64, PaddingZeros).empty());
}

TEST(aesEncrypt, UnsupportedKeySizesHandBlocksOn) {
    const Bytes data = randomBytes(32);
    GuardedBuffer<unsigned char> key(300);
    std::memset(key.data(), 7, 300);
    aesEncrypt cipher(key.data() + 284, 16);  // Leaves a schedule behind.
    for (const int nSize : {INT_MIN, -1, 0, 1, 15, 17, 31, 33, 240, 241, 300}) {
        SCOPED_TRACE(nSize);
        cipher.SetKey(key.data() + (300 - std::max(nSize, 0)), nSize);
        EXPECT_EQ(cipher.Encrypt(data.data(), 32, PaddingZeros), data);
        EXPECT_EQ(cipher.Decrypt(data.data(), 32, PaddingZeros), data);
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
    EXPECT_EQ(keyStream(bytesOf("k"), 0, 64), keyStream(nullptr, 5, 64));
    EXPECT_EQ(keyStream(bytesOf("k"), INT_MIN, 64), keyStream(nullptr, 5, 64));
    const Bytes key = randomBytes(300);
    EXPECT_EQ(keyStream(key.data(), 300, 64), keyStream(key.data(), 256, 64));
}

}  // namespace
