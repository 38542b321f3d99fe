// Finds out which of the codecs' inner loops this processor runs.
#include "text/codec_kernels.h"

#include <array>

namespace vdx {

namespace {

// Trivially destroyed, so that destructors of static objects may still call codecs.
struct kernelList {
    std::array<const codecKernels*, 3> sets{&portableCodecKernels};
    std::size_t nCount = 1;

    void add(const codecKernels& kernels) { sets[nCount++] = &kernels; }
};

kernelList findKernels() {
    kernelList list;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("ssse3")) list.add(ssse3CodecKernels);
    if (__builtin_cpu_supports("avx2")) list.add(avx2CodecKernels);
#elif defined(__aarch64__)
    list.add(neonCodecKernels);  // Every processor of the family has it.
#endif
    return list;
}

}  // namespace

std::span<const codecKernels* const> getAllCodecKernels() {
    static const kernelList s_list = findKernels();
    return {s_list.sets.data(), s_list.nCount};
}

const codecKernels& getCodecKernels() {
    return *getAllCodecKernels().back();
}

}  // namespace vdx
