// Replaces operator new for the whole test program.
#include "xml/failing_new.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long t_nAllocationsLeft = -1;

bool mayAllocate() {
    if (t_nAllocationsLeft < 0) return true;
    if (t_nAllocationsLeft == 0) return false;
    --t_nAllocationsLeft;
    return true;
}

}  // namespace

void xmltest::setAllocationsLeft(long nCount) {
    t_nAllocationsLeft = nCount;
}

void* operator new(std::size_t nSize) {
    void* p = mayAllocate() ? std::malloc(nSize ? nSize : 1) : nullptr;
    if (!p) throw std::bad_alloc();
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
