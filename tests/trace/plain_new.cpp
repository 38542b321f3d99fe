// Replaces operator new for a whole test program by malloc, which tests let fail.
#include <cstdlib>
#include <new>

void* operator new(std::size_t nSize) {
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
