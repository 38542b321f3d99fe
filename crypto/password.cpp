// Passwords as printable cipher text: AES, then RC4, then base-64.
#include <vdx/password.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include <vdx/cipher.h>
#include <vdx/codecs.h>

#include "crypto/aes_blocks.h"
#include "crypto/default_key.h"

namespace {

using namespace vdx_crypto;
using Bytes = std::vector<unsigned char>;

// RC4's key schedule costs far more than a password's few bytes, so the default key's is
// kept as the start of its key stream.
constexpr std::size_t kKeptStream = 256;

// What was computed from the default key at its last use by this thread.
struct KeptDefault {
    unsigned char key[kDefaultKeySize];
    unsigned char schedule[kAesMaxSchedule];
    unsigned char stream[kKeptStream];
    int nScheduleLength;  // 0: nothing was computed yet.
};

// The application may point szMorvaneKey elsewhere or change the bytes that it points at,
// so what is kept counts only as long as the key's bytes are the same.
const KeptDefault& keptDefault() {
    thread_local KeptDefault kept{};
    const unsigned char* key = defaultKey();
    if (kept.nScheduleLength != 0 && std::memcmp(kept.key, key, sizeof kept.key) == 0) return kept;
    std::memcpy(kept.key, key, sizeof kept.key);
    kept.nScheduleLength = aesSetKey(kept.key, kDefaultKeySize, kept.schedule);
    std::memset(kept.stream, 0, sizeof kept.stream);
    rc4Transfer(kept.key, kDefaultKeySize).Transfer(kept.stream, sizeof kept.stream);
    return kept;
}

// Both ciphers with one key.
class Cascade {
public:
    Cascade(const unsigned char* key, int nKeySize) : m_key(key), m_nKeySize(nKeySize) {
        if (key == nullptr) {
            const KeptDefault& kept = keptDefault();
            m_schedule = kept.schedule;
            m_nScheduleLength = kept.nScheduleLength;
            m_keptStream = kept.stream;
        } else {
            m_schedule = m_ownSchedule;
            m_nScheduleLength = aesSetKey(key, nKeySize, m_ownSchedule);
        }
    }
    Cascade(const Cascade&) = delete;
    Cascade& operator=(const Cascade&) = delete;

    void encryptBlocks(unsigned char* data, std::size_t nSize) const {
        aesEncryptBlocks(m_schedule, m_nScheduleLength, data, data, nSize / kAesBlock);
    }

    void decryptBlocks(unsigned char* data, std::size_t nSize) const {
        aesDecryptBlocks(m_schedule, m_nScheduleLength, data, data, nSize / kAesBlock);
    }

    // RC4 from the start of its key stream.
    void transfer(unsigned char* data, std::size_t nSize) const {
        if (m_keptStream != nullptr && nSize <= kKeptStream) {
            for (std::size_t i = 0; i < nSize; ++i)
                data[i] ^= m_keptStream[i];
            return;
        }
        rc4Transfer stream(m_key, m_nKeySize);
        while (nSize > 0) {
            const int nPart = static_cast<int>(std::min<std::size_t>(nSize, INT_MAX));
            stream.Transfer(data, nPart);
            data += nPart;
            nSize -= static_cast<std::size_t>(nPart);
        }
    }

private:
    const unsigned char* m_key;
    int m_nKeySize;
    const unsigned char* m_schedule;
    int m_nScheduleLength;
    const unsigned char* m_keptStream = nullptr;
    unsigned char m_ownSchedule[kAesMaxSchedule];
};

Bytes encryptBytes(const void* data, std::size_t nSize, const unsigned char* key, int nKeySize) {
    if (nSize == 0) return {};
    Bytes result((nSize + kAesBlock - 1) / kAesBlock * kAesBlock);
    std::memcpy(result.data(), data, nSize);
    const Cascade cascade(key, nKeySize);
    cascade.encryptBlocks(result.data(), result.size());
    cascade.transfer(result.data(), result.size());
    return result;
}

}  // namespace

std::string pswEncrypt(const std::string& plain) {
    return pswEncryptEx(plain, nullptr, 0);
}

std::string pswDecrypt(const std::string& cipher) {
    return pswDecryptEx(cipher, nullptr, 0);
}

std::string pswEncryptEx(const std::string& plain, const unsigned char* key, int keySize) {
    const Bytes bytes = encryptBytes(plain.data(), plain.size(), key, keySize);
    if (bytes.size() > INT_MAX) return {};
    return vdxBin2Base64(bytes.data(), static_cast<int>(bytes.size()));
}

std::string pswDecryptEx(const std::string& cipher, const unsigned char* key, int keySize) {
    Bytes bytes = vdxBase642Bin(cipher);
    if (!bytes.empty() && bytes.size() % kAesBlock == 0) {
        const Cascade cascade(key, keySize);
        cascade.transfer(bytes.data(), bytes.size());
        cascade.decryptBlocks(bytes.data(), bytes.size());
    }
    const auto end = std::find(bytes.begin(), bytes.end(), 0);
    return std::string(bytes.begin(), end);
}

std::vector<unsigned char> pswEncryptEx(unsigned char* data, int len, const unsigned char* key, int keySize) {
    if (data == nullptr || len < 1) return {};
    return encryptBytes(data, static_cast<std::size_t>(len), key, keySize);
}

std::vector<unsigned char> pswDecryptEx(unsigned char* data, int len, const unsigned char* key, int keySize) {
    if (data == nullptr || len < 1) return {};
    const auto nSize = static_cast<std::size_t>(len);
    const Cascade cascade(key, keySize);
    cascade.transfer(data, nSize);
    Bytes result(data, data + nSize);
    cascade.decryptBlocks(result.data(), nSize);
    return result;
}
