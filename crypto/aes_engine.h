// The implementations of AES, one for each kind of processor, and the choice among them.
#pragma once

#include <cstddef>
#include <span>

namespace vdx_crypto {

constexpr std::size_t kAesBlock = 16;
constexpr int kAesMaxRounds = 14;
constexpr std::size_t kAesMaxSchedule = kAesBlock * (kAesMaxRounds + 1);

// One implementation. All give the same bytes.
struct aesEngine {
    const char* szName;
    bool (*isSupported)();  // Whether this processor has the instructions.

    // Expands a key of 16, 24 or 32 bytes into 176, 208 or 240 bytes.
    void (*expandKey)(const unsigned char* key, std::size_t nKeySize, unsigned char* schedule);

    // Encrypts or decrypts whole blocks. 1 <= rounds <= kAesMaxRounds; the schedule is
    // the one for encryption in both directions. in and out are the same or disjoint.
    void (*encrypt)(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
                    std::size_t nBlocks);
    void (*decrypt)(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
                    std::size_t nBlocks);
};

// All that were built for this architecture, fastest first; the last is the portable
// one, which every processor supports.
std::span<const aesEngine* const> aesEngines();

// The first of them that this processor supports; found out once.
const aesEngine& aesChooseEngine();
inline const aesEngine& aesBestEngine() {
    static const aesEngine& best = aesChooseEngine();
    return best;
}

extern const aesEngine aesPortableEngine;

}  // namespace vdx_crypto
