// Counting the handles of a node.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace vdx {

// Whether the process has one thread only, so that nothing can come between a read
// and the write that follows it. Creating a thread orders what was done before.
inline bool isSingleThreaded() {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

inline void countUp(std::atomic<int>& nCount) {
    if (isSingleThreaded()) {
        nCount.store(nCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
        nCount.fetch_add(1, std::memory_order_relaxed);
    }
}

// The count afterwards. At 0, all that other threads did to the node has happened.
inline int countDown(std::atomic<int>& nCount) {
    if (isSingleThreaded()) {
        const int nLeft = nCount.load(std::memory_order_relaxed) - 1;
        nCount.store(nLeft, std::memory_order_relaxed);
        return nLeft;
    }
    return nCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

}  // namespace vdx
