// AES with the 256-bit vector AES instructions of x86 (VAES with AVX2). Compiled with their flags.
#include <cpuid.h>

#include "crypto/aes_engine_x86.h"
#include "crypto/aes_lanes_x86.h"

namespace vdx_crypto {
namespace {

// Two blocks in a 256-bit register.
struct WideLane {
    using Register = __m256i;
    static constexpr std::size_t kBytes = 32;

    static Register key(const unsigned char* p) { return _mm256_broadcastsi128_si256(NarrowLane::load(p)); }
    static Register load(const unsigned char* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
    static void store(unsigned char* p, Register x) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), x); }
    static Register add(Register x, Register y) { return _mm256_xor_si256(x, y); }
    static Register encrypt(Register x, Register k) { return _mm256_aesenc_epi128(x, k); }
    static Register encryptLast(Register x, Register k) { return _mm256_aesenclast_epi128(x, k); }
    static Register decrypt(Register x, Register k) { return _mm256_aesdec_epi128(x, k); }
    static Register decryptLast(Register x, Register k) { return _mm256_aesdeclast_epi128(x, k); }
};

// Eight wide registers keep both AES units of the processors that have them busy.
template <template <class> class Cipher>
void runBlocks(const RoundKeys& k, const unsigned char* in, unsigned char* out, std::size_t nBlocks) {
    Run run{in, out, nBlocks * kAesBlock};
    runGroups<Cipher<WideLane>, 8>(k, run);
    runGroups<Cipher<WideLane>, 4>(k, run);
    runGroups<Cipher<WideLane>, 1>(k, run);
    runGroups<Cipher<NarrowLane>, 1>(k, run);
}

void encrypt(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
             std::size_t nBlocks) {
    if (nBlocks == 1) return runGroup<Encryption<NarrowLane>>({schedule, rounds}, in, out, OneLane{});
    runBlocks<Encryption>({schedule, rounds}, in, out, nBlocks);
}

void decrypt(const unsigned char* schedule, int rounds, const unsigned char* in, unsigned char* out,
             std::size_t nBlocks) {
    if (nBlocks == 1) return decryptOne(schedule, rounds, in, out);
    alignas(16) unsigned char keys[kAesMaxSchedule];
    decryptionKeys(schedule, rounds, keys);
    runBlocks<Decryption>({keys, rounds}, in, out, nBlocks);
}

// __builtin_cpu_supports asks the system too whether it keeps 256-bit registers.
bool isSupported() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    constexpr unsigned nVaes = 1U << 9;
    return __builtin_cpu_supports("avx2") && aesNarrowEngine.isSupported() &&
           __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (c & nVaes) != 0;
}

}  // namespace

const aesEngine aesWideEngine = {"VAES", isSupported, aesExpandKeyX86, encrypt, decrypt};

}  // namespace vdx_crypto
