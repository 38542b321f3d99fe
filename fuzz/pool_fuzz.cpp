// Pool operations against a shadow: the bytes of the model, the contents of every live block.
#include <vdx/directories.h>
#include <vdx/pool.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <new>

#include "tests/memory/pool_model.h"

namespace {

void require(bool bTrue) {
    if (!bTrue) std::abort();
}

class Shadow {
public:
    explicit Shadow(int nSize)
        : m_bytes(static_cast<std::size_t>(pooltest::nBlock + nSize), 0x77),
          m_expected(m_bytes),
          m_model(m_expected),
          m_pPool(new (at(pooltest::nAllocator)) basePoolAlloc) {
        m_pPool->init_pool(at(pooltest::nBlock), nSize);
        m_model.init(nSize);
    }

    void alloc(int n) { enter(offsetOf(m_pPool->alloc(n)), m_model.alloc(n), n); }

    void free(unsigned nPick) {
        if (m_live.empty()) return;
        const std::int64_t nOld = take(nPick);
        m_pPool->free(at(nOld));
        m_model.free(nOld);
    }

    void realloc(unsigned nPick, int n) {
        if (m_live.empty()) return;
        const std::int64_t nOld = take(nPick);
        const std::int64_t nNew = offsetOf(m_pPool->realloc(at(nOld), n));
        const std::int64_t nExpected = m_model.realloc(nOld, n);
        require(nNew == nExpected);
        if (nNew < 0) {
            enter(nOld, nOld, static_cast<int>(m_model.size(nOld - 8)));
        } else {
            enter(nNew, nExpected, n);
        }
    }

    // The same block at another address: the old place is given back first.
    void move() {
        std::vector<unsigned char> moved(m_bytes);
        m_bytes.swap(moved);
        m_pPool = reinterpret_cast<basePoolAlloc*>(at(pooltest::nAllocator));
    }

    void check() const {
        require(m_bytes == m_expected);
        require(pooltest::findFault(m_model, m_live).empty());
    }

private:
    unsigned char* at(std::int64_t nOffset) { return m_bytes.data() + nOffset; }
    std::int64_t offsetOf(void* p) {
        return p == nullptr ? -1 : static_cast<unsigned char*>(p) - m_bytes.data();
    }

    std::int64_t take(unsigned nPick) {
        const auto chosen = std::next(m_live.begin(), static_cast<std::ptrdiff_t>(nPick % m_live.size()));
        const std::int64_t nOffset = chosen->first;
        m_live.erase(chosen);
        return nOffset;
    }
    void enter(std::int64_t nOffset, std::int64_t nExpected, int n) {
        require(nOffset == nExpected);
        if (nOffset < 0) return;
        m_live[nOffset] = n;
        ++m_nMark;
        std::fill_n(at(nOffset), n, m_nMark);
        std::fill_n(m_expected.data() + nOffset, n, m_nMark);
    }

    std::vector<unsigned char> m_bytes;
    std::vector<unsigned char> m_expected;
    pooltest::Model m_model;
    basePoolAlloc* m_pPool;
    std::map<std::int64_t, int> m_live;  // Data offset to size.
    unsigned char m_nMark = 0;
};

}  // namespace

// Byte 0 gives the pool's size; then operations of three bytes: what, which or how much, how much.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize == 0) return 0;
    vdxSetAppDocPath("/dev/null");  // No dumps.
    Shadow shadow(24 + pData[0] * 33);
    for (std::size_t i = 1; i + 2 < nSize; i += 3) {
        const int nBytes = pData[i] & 0x80 ? pData[i + 2] * 16 + pData[i + 1] % 16 : pData[i + 2];
        switch (pData[i] % 8) {
            case 0:
            case 1:
            case 2:
                shadow.alloc(nBytes);
                break;
            case 3:
            case 4:
                shadow.free(pData[i + 1]);
                break;
            case 5:
            case 6:
                shadow.realloc(pData[i + 1], nBytes);
                break;
            default:
                shadow.move();
                break;
        }
        if (i % 8 == 0) shadow.check();
    }
    shadow.check();
    return 0;
}
