// Operator new of a whole test program: malloc, which tests let fail, after a call of theirs.
#include <cstdlib>
#include <new>

void beforeAllocation(std::size_t nSize);  // The tests define it.

void* operator new(std::size_t nSize) {
    beforeAllocation(nSize);
    void* p = std::malloc(nSize ? nSize : 1);
    if (!p) throw std::bad_alloc();
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
