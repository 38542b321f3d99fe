// Memory whose end is followed by a page that cannot be touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstddef>
#include <new>
#include <span>

// An array of nCount objects that ends where a forbidden page begins: reading or
// writing past it ends the test.
template <class T>
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t nCount) {
        const auto nPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t nUsable = (nCount * sizeof(T) + nPage - 1) / nPage * nPage;
        m_nMapped = nUsable + nPage;
        void* pMapped = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_pMapped = static_cast<char*>(pMapped);
        if (mprotect(m_pMapped + nUsable, nPage, PROT_NONE) != 0) throw std::bad_alloc();  // Or never mapped.
        m_pEnd = reinterpret_cast<T*>(m_pMapped + nUsable);
        m_pFirst = m_pEnd - nCount;
    }
    ~GuardedBuffer() { munmap(m_pMapped, m_nMapped); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    T* data() { return m_pFirst; }
    // Where the last nCount of its objects begin.
    T* last(std::size_t nCount) { return m_pEnd - nCount; }
    // A copy of some objects in its last places.
    T* copyOf(std::span<const T> objects) {
        T* const pFirst = last(objects.size());
        std::copy(objects.begin(), objects.end(), pFirst);
        return pFirst;
    }
    T& operator[](auto i) { return m_pFirst[i]; }

private:
    char* m_pMapped;
    std::size_t m_nMapped;
    T* m_pFirst;
    T* m_pEnd;
};
