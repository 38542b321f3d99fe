// Pool operations against a shadow: the bytes of the model, the contents of every live block.
#include <vdx/directories.h>
#include <vdx/pool.h>

#include <iterator>
#include <new>

#include "fuzz/fuzz.h"
#include "tests/memory/pool_model.h"

namespace {

class Shadow {
public:
    explicit Shadow(int nSize)
        : m_bytes(static_cast<std::size_t>(pooltest::nBlock + nSize), 0x77),
          m_expected(m_bytes),
          m_model(m_expected) {
        new (&pool()) basePoolAlloc;
        pool().init_pool(at(pooltest::nBlock), nSize);
        m_model.init(nSize);
    }

    void alloc(int n) {
        const std::int64_t nOffset = offsetOf(pool().alloc(n));
        require(nOffset == m_model.alloc(n));
        enter(nOffset, n);
    }

    void free(unsigned nPick) {
        if (m_live.empty()) return;
        const std::int64_t nOld = take(nPick);
        pool().free(at(nOld));
        m_model.free(nOld);
    }

    void realloc(unsigned nPick, int n) {
        if (m_live.empty()) return;
        const std::int64_t nOld = take(nPick);
        const std::int64_t nNew = offsetOf(pool().realloc(at(nOld), n));
        require(nNew == m_model.realloc(nOld, n));
        enter(nNew < 0 ? nOld : nNew, nNew < 0 ? static_cast<int>(m_model.size(nOld - 8)) : n);
    }

    // The same block at another address; the old place is given back.
    void move() { Bytes(m_bytes).swap(m_bytes); }

    void check() const { require(m_bytes == m_expected && pooltest::findFault(m_model, m_live).empty()); }

private:
    unsigned char* at(std::int64_t nOffset) { return m_bytes.data() + nOffset; }
    basePoolAlloc& pool() { return *reinterpret_cast<basePoolAlloc*>(at(pooltest::nAllocator)); }
    std::int64_t offsetOf(void* p) { return p ? static_cast<unsigned char*>(p) - m_bytes.data() : -1; }

    std::int64_t take(unsigned nPick) {
        const auto chosen = std::next(m_live.begin(), static_cast<std::ptrdiff_t>(nPick % m_live.size()));
        return m_live.extract(chosen).key();
    }
    void enter(std::int64_t nOffset, int n) {
        if (nOffset < 0) return;
        m_live[nOffset] = n;
        ++m_nMark;
        std::fill_n(at(nOffset), n, m_nMark);
        std::fill_n(m_expected.data() + nOffset, n, m_nMark);
    }

    Bytes m_bytes;
    Bytes m_expected;
    pooltest::Model m_model;
    std::map<std::int64_t, int> m_live;  // Data offset to size.
    unsigned char m_nMark = 0;
};

}  // namespace

// Byte 0 gives the pool's size; then operations of three bytes: what, which or how much, how much.
void fuzz(const Bytes& input) {
    if (input.empty()) return;
    vdxSetAppDocPath("/dev/null");  // No dumps.
    Shadow shadow(24 + input[0] * 33);
    for (std::size_t i = 1; i + 2 < input.size(); i += 3) {
        const int nWhat = input[i] % 8;
        const int nBytes = input[i] & 0x80 ? input[i + 2] * 16 + input[i + 1] % 16 : input[i + 2];
        if (nWhat < 3) {
            shadow.alloc(nBytes);
        } else if (nWhat < 5) {
            shadow.free(input[i + 1]);
        } else if (nWhat < 7) {
            shadow.realloc(input[i + 1], nBytes);
        } else {
            shadow.move();
        }
        if (i % 8 == 0) shadow.check();
    }
    shadow.check();
}
