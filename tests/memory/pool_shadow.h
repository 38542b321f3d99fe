// The pool's bytes read by other means than the pool's own, and a pool whose every step is checked so.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <vdx/pool.h>

namespace pooltest {

// A segment that begins with 8 bytes of the owner and the allocator (24 bytes), read by offsets alone. The
// block may lie anywhere behind. Reading outside throws.
class Image {
public:
    explicit Image(std::span<const unsigned char> bytes) : m_bytes(bytes) {}

    template <class T>
    T read(std::int64_t nAt) const {
        if (nAt < 0 || nAt + std::int64_t{sizeof(T)} > std::ssize(m_bytes)) {
            throw std::out_of_range("offset " + std::to_string(nAt));
        }
        T value;
        std::memcpy(&value, m_bytes.data() + nAt, sizeof value);
        return value;
    }
    std::vector<std::int64_t> words(std::int64_t nFrom, std::int64_t nTo) const {
        std::vector<std::int64_t> found;
        for (; nFrom < nTo; nFrom += 8)
            found.push_back(read<std::int64_t>(nFrom));
        return found;
    }

    // Cells by offset.
    std::int64_t begin() const { return 8 + read<std::int32_t>(12); }
    std::int64_t end() const {
        const auto nSize = read<std::int32_t>(8);
        return nSize < 24 ? begin() : begin() + nSize;  // Too small a block holds no cell.
    }
    bool isFree(std::int64_t nCell) const { return read<std::int64_t>(nCell) < 0; }
    std::int64_t right(std::int64_t nCell) const { return nCell + (read<std::int64_t>(nCell) & INT64_MAX); }
    std::int64_t size(std::int64_t nCell) const { return right(nCell) - nCell - 8; }
    // Where the free cells behind nCell end.
    std::int64_t joinedRight(std::int64_t nCell) const {
        std::int64_t nRight = right(nCell);
        while (nRight < end() && isFree(nRight))
            nRight = right(nRight);
        return nRight;
    }

    // Nodes of lists by offset; a prev link leads to the second word of the node before.
    std::int64_t next(std::int64_t nNode) const { return nNode + read<std::int64_t>(nNode); }
    std::int64_t prev(std::int64_t nNode) const { return nNode + 8 + read<std::int64_t>(nNode + 8) - 8; }

private:
    std::span<const unsigned char> m_bytes;
};

// What is wrong with the pool, or "": cells tile the block, the free list is exactly the free cells in
// address order, forwards and backwards, and `live` (data offset to size) are exactly the used cells.
inline std::string findFault(const Image& image, const std::map<std::int64_t, int>& live) {
    constexpr std::int64_t nHead = 16;
    std::int64_t nNode = nHead;
    std::size_t nUsed = 0;
    for (std::int64_t nCell = image.begin(); nCell != image.end(); nCell = image.right(nCell)) {
        const std::string where = " at " + std::to_string(nCell);
        if (nCell > image.end() || image.size(nCell) < 16) return "bad cell" + where;
        if (image.isFree(nCell)) {
            if (image.next(nNode) != nCell + 8 || image.prev(nCell + 8) != nNode) return "bad list" + where;
            nNode = nCell + 8;
            continue;
        }
        const auto found = live.find(nCell + 8);
        if (found == live.end()) return "lost cell" + where;
        if (image.size(nCell) < found->second) return "small cell" + where;
        ++nUsed;
    }
    if (nUsed != live.size()) return "missing cells";
    return image.next(nNode) == nHead && image.prev(nHead) == nNode ? "" : "bad list end";
}

constexpr std::int64_t nBlock = 32;  // Of a Shadow.

// A pool in a segment that may move. What each operation must do is read from the bytes before; anything else
// is thrown, which ends a test as well as a fuzzer's run.
class Shadow {
public:
    explicit Shadow(int nSize) : m_bytes(static_cast<std::size_t>(nBlock + nSize + 4), 0x77) {
        new (at(8)) basePoolAlloc;
        require(pool().init_pool(at(nBlock), nSize), "init_pool");
    }

    basePoolAlloc& pool() { return *reinterpret_cast<basePoolAlloc*>(at(8)); }
    unsigned char* at(std::int64_t nOffset) { return m_bytes.data() + m_nStart + nOffset; }
    Image image() const { return Image(std::span(m_bytes).subspan(m_nStart)); }

    // Offset of the data, -1 for none; so does realloc. The whole cell is filled.
    std::int64_t alloc(int n) {
        const std::int64_t nExpected = firstFit(n);
        const std::int64_t nData = offset(m_live.empty() ? pool().realloc(nullptr, n) : pool().alloc(n));
        require(nData == nExpected, "not the first fit");
        if (nData < 0) return nData;
        const std::int64_t nSize = image().size(nData - 8);
        require(nSize >= rounded(n) && nSize <= rounded(n) + 24, "not split");
        fill(nData);
        return nData;
    }
    void free(unsigned nPick) {
        if (!m_live.empty()) pool().free(at(take(nPick)));
    }
    std::int64_t realloc(unsigned nPick, int n) {
        if (m_live.empty()) return alloc(n);
        const std::int64_t nOld = take(nPick);
        const std::int64_t nOldSize = image().size(nOld - 8);
        const bool bInPlace = image().joinedRight(nOld - 8) - nOld >= n;
        const std::int64_t nExpected = bInPlace ? nOld : firstFit(n);
        const std::int64_t nData = offset(pool().realloc(at(nOld), n));
        require(nData == nExpected, "neither in place nor the first fit");
        const std::int64_t nNow = nData < 0 ? nOld : nData;
        require(holds(nNow, nOldSize, markOf(nOld)), "bytes lost");
        require(image().size(nNow - 8) >= nOldSize, "shrunk");
        fill(nNow);
        return nData;
    }
    // The same bytes at another address, which is a multiple of 4 only every other time.
    void move() {
        std::vector<unsigned char> moved(m_bytes.size(), 0x77);
        const std::size_t nStart = 4 - m_nStart;
        std::copy_n(at(0), m_bytes.size() - 4, moved.data() + nStart);
        m_bytes.swap(moved);
        m_nStart = nStart;
    }
    // One of the above: allocations prevail, so that the pool is full most of the time.
    void step(unsigned nWhat, unsigned nPick, int n) {
        if (nWhat % 8 < 3) {
            alloc(n);
        } else if (nWhat % 8 < 5) {
            free(nPick);
        } else if (nWhat % 8 < 7) {
            realloc(nPick, n);
        } else {
            move();
        }
    }

    void check() const {
        const std::string fault = findFault(image(), m_live);
        require(fault.empty(), fault.c_str());
        for (const auto& [nData, nSize] : m_live)
            require(holds(nData, nSize, markOf(nData)), "bytes lost");
    }

private:
    static void require(bool bTrue, const char* szWhat) {
        if (!bTrue) throw std::logic_error(szWhat);
    }
    static std::int64_t rounded(int n) { return (std::max(n, 16) + std::int64_t{3}) / 4 * 4; }
    static unsigned char markOf(std::int64_t nData) { return static_cast<unsigned char>(nData / 4 * 37); }

    // The leftmost cell that is large enough when it is joined with the free cells behind it.
    std::int64_t firstFit(int n) const {
        const Image bytes = image();
        for (std::int64_t nCell = bytes.begin(); nCell < bytes.end();) {
            const std::int64_t nRight = bytes.isFree(nCell) ? bytes.joinedRight(nCell) : bytes.right(nCell);
            if (bytes.isFree(nCell) && nRight - nCell - 8 >= rounded(n)) return nCell + 8;
            nCell = nRight;
        }
        return -1;
    }
    std::int64_t offset(void* p) { return p == nullptr ? -1 : static_cast<unsigned char*>(p) - at(0); }
    // Fills a used cell, whose place tells with what.
    void fill(std::int64_t nData) {
        const std::int64_t nSize = image().size(nData - 8);
        m_live[nData] = static_cast<int>(nSize);
        std::fill_n(at(nData), nSize, markOf(nData));
    }
    bool holds(std::int64_t nData, std::int64_t n, unsigned char nMark) const {
        const unsigned char* p = m_bytes.data() + m_nStart + nData;
        return std::all_of(p, p + n, [&](unsigned char c) { return c == nMark; });
    }
    // Any live cell, live no more; its bytes are as they were left.
    std::int64_t take(unsigned nPick) {
        const auto chosen = std::next(m_live.begin(), static_cast<std::ptrdiff_t>(nPick % m_live.size()));
        const auto [nData, nSize] = *chosen;
        require(holds(nData, nSize, markOf(nData)), "bytes lost");
        m_live.erase(chosen);
        return nData;
    }

    std::vector<unsigned char> m_bytes;
    std::size_t m_nStart = 0;
    std::map<std::int64_t, int> m_live;  // Data offset to size.
};

}  // namespace pooltest
