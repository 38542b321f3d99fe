// Operator new of a whole test program: malloc, which --wrap=malloc lets fail.
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
