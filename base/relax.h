// The pause between two looks at a lock.
#pragma once

namespace vdx {

// Tells the processor that the thread spins.
inline void relaxProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace vdx
