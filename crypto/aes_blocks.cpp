// AES by schedules of any length.
#include "crypto/aes_blocks.h"

#include <cstring>

namespace vdx_crypto {

void aesAddKey(const unsigned char* schedule, int nScheduleLength, const unsigned char* in,
               unsigned char* out, std::size_t nBlocks) {
    const bool bKey = nScheduleLength >= static_cast<int>(kAesBlock);
    for (std::size_t i = 0; i < nBlocks * kAesBlock; ++i) {
        out[i] = static_cast<unsigned char>(in[i] ^ (bKey ? schedule[i % kAesBlock] : 0));
    }
}

const aesEngine& aesChooseEngine() {
    for (const aesEngine* pEngine : aesEngines()) {
        if (pEngine->isSupported()) return *pEngine;
    }
    return aesPortableEngine;
}

int aesSetKey(const unsigned char* key, int nKeySize, unsigned char* schedule) {
    if (nKeySize == 16 || nKeySize == 24 || nKeySize == 32) {
        const int nLength = 4 * nKeySize + 112;
        aesBestEngine().expandKey(key, static_cast<std::size_t>(nKeySize), schedule);
        std::memset(schedule + nLength, 0, kAesMaxSchedule - static_cast<std::size_t>(nLength));
        return nLength;
    }
    std::memset(schedule, 0, kAesMaxSchedule);
    if (nKeySize > 0)
        std::memcpy(schedule, key, std::min(static_cast<std::size_t>(nKeySize), kAesMaxSchedule));
    return 0;
}

}  // namespace vdx_crypto
