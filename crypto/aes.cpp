// AES over blocks and buffers, and block padding.
#include <algorithm>
#include <cstring>

#include <vdx/cipher.h>
#include <vdx/platform.h>

#include "crypto/aes_blocks.h"
#include "crypto/default_key.h"

namespace {

using namespace vdx_crypto;

constexpr std::size_t kStep = 2048;

std::size_t sizeOf(const void* data, int len) {
    return data != nullptr && len > 0 ? static_cast<std::size_t>(len) : 0;
}

std::size_t paddedSize(std::size_t nSize, std::size_t nBlock, PaddingMode mode) {
    const std::size_t nOver = nSize % nBlock;
    if (nOver != 0) return nSize - nOver + nBlock;
    return mode == PaddingZeros ? nSize : nSize + nBlock;
}

// Fills n bytes of padding, which may be none.
void fillPadding(unsigned char* pPadding, std::size_t n, PaddingMode mode) {
    if (n == 0) return;
    const auto nLast = static_cast<unsigned char>(n);
    std::memset(pPadding, mode == PaddingPKCS7 ? nLast : 0, n);
    if (mode == PaddingISO10126) {
        for (std::size_t i = 0; i + 1 < n; ++i)
            pPadding[i] = static_cast<unsigned char>(vdxGetTickCount());
    }
    if (mode == PaddingISO10126 || mode == PaddingANSIX923) pPadding[n - 1] = nLast;
}

// What is left of the data after its whole blocks, and the padding. Not inlined: aligned data
// should not pay for its registers.
[[gnu::noinline]] void makeLastBlock(const unsigned char* data, std::size_t nTail, PaddingMode mode,
                                     unsigned char* last) {
    if (nTail > 0) std::memcpy(last, data, nTail);
    fillPadding(last + nTail, kAesBlock - nTail, mode);
}

// Bytes that are not to go through a cipher.
struct Plain {
    const unsigned char* data = nullptr;
    std::size_t nSize = 0;
};

// The whole blocks of the data, encrypted or decrypted, and less than kStep bytes after
// them. Small results are copied from a buffer. A large one grows step by step, so that
// the zeros which growing writes are overwritten while they are in the first-level cache.
template <AesBlocks cipher>
std::vector<unsigned char> runBlocks(const unsigned char* schedule, int nScheduleLength,
                                     const unsigned char* data, std::size_t nWhole, Plain rest) {
    if (nWhole == kAesBlock && rest.nSize == 0) {  // The size of most keys and passwords.
        unsigned char block[kAesBlock];
        cipher(schedule, nScheduleLength, data, block, 1);
        return std::vector<unsigned char>(block, block + kAesBlock);
    }
    if (nWhole + rest.nSize <= kStep) {
        unsigned char buffer[kStep];
        cipher(schedule, nScheduleLength, data, buffer, nWhole / kAesBlock);
        if (rest.nSize > 0) std::memcpy(buffer + nWhole, rest.data, rest.nSize);
        return std::vector<unsigned char>(buffer, buffer + nWhole + rest.nSize);
    }
    std::vector<unsigned char> result;
    result.reserve(nWhole + rest.nSize);
    for (std::size_t nDone = 0; nDone < nWhole; nDone = result.size()) {
        const std::size_t n = std::min(nWhole - nDone, kStep);
        result.resize(nDone + n);
        cipher(schedule, nScheduleLength, data + nDone, result.data() + nDone, n / kAesBlock);
    }
    result.insert(result.end(), rest.data, rest.data + rest.nSize);
    return result;
}

}  // namespace

std::vector<unsigned char> clonePlainWithPadding(const unsigned char* data, int len, int blockSize,
                                                 PaddingMode mode) {
    const std::size_t nSize = sizeOf(data, len);
    const std::size_t nPadded =
        blockSize < 1 ? nSize : paddedSize(nSize, static_cast<std::size_t>(blockSize), mode);
    std::vector<unsigned char> result;
    result.reserve(nPadded);
    if (nSize > 0) result.assign(data, data + nSize);
    result.resize(nPadded);
    fillPadding(result.data() + nSize, nPadded - nSize, mode);
    return result;
}

void aesEncrypt128bit(const unsigned char* in, const unsigned char* schedule, int scheduleLength,
                      unsigned char* out) {
    aesEncryptBlocks(schedule, scheduleLength, in, out, 1);
}

void aesDecrypt128bit(const unsigned char* in, const unsigned char* schedule, int scheduleLength,
                      unsigned char* out) {
    aesDecryptBlocks(schedule, scheduleLength, in, out, 1);
}

aesEncrypt::aesEncrypt(const unsigned char* key, int keySize) {
    SetKey(key, keySize);
}

void aesEncrypt::SetKey(const unsigned char* key, int keySize) {
    static_assert(sizeof(aesEncrypt) == kAesMaxSchedule + sizeof(int));
    if (key == nullptr) {
        key = defaultKey();
        keySize = kDefaultKeySize;
    }
    m_nScheduleLength = aesSetKey(key, keySize, m_schedule);
}

std::vector<unsigned char> aesEncrypt::Encrypt(const unsigned char* data, int len, PaddingMode mode) const {
    const std::size_t nSize = sizeOf(data, len);
    const std::size_t nTail = nSize % kAesBlock;
    const std::size_t nWhole = nSize - nTail;
    const std::size_t nLast = paddedSize(nSize, kAesBlock, mode) - nWhole;
    if (nLast == 0) return runBlocks<aesEncryptBlocks>(m_schedule, m_nScheduleLength, data, nWhole, {});
    unsigned char last[kAesBlock];
    makeLastBlock(data + nWhole, nTail, mode, last);
    aesEncryptBlocks(m_schedule, m_nScheduleLength, last, last, 1);
    return runBlocks<aesEncryptBlocks>(m_schedule, m_nScheduleLength, data, nWhole, {last, nLast});
}

std::vector<unsigned char> aesEncrypt::Decrypt(const unsigned char* data, int len, PaddingMode mode) const {
    const std::size_t nSize = sizeOf(data, len);
    const std::size_t nTail = nSize % kAesBlock;
    const Plain tail{data + (nSize - nTail), nTail};
    auto result = runBlocks<aesDecryptBlocks>(m_schedule, m_nScheduleLength, data, nSize - nTail, tail);
    if (mode == PaddingZeros || result.empty()) return result;
    const std::size_t nPadding = result.back();
    if (nPadding <= kAesBlock) result.resize(nSize - std::min(nPadding, nSize));
    return result;
}
