// The pool's bytes read by other means than the pool's own, and a pool whose every step is checked so.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <new>
#include <stdexcept>
#include <vector>

#include <vdx/pool.h>

namespace pooltest {

using Words = std::vector<std::int64_t>;

// The 64-bit words that lie somewhere, aligned or not.
inline Words wordsAt(const void* p, std::size_t nCount) {
    Words words(nCount);
    std::memcpy(words.data(), p, nCount * sizeof words[0]);
    return words;
}

constexpr std::int64_t nBlock = 32;  // Of a Shadow.

// A pool in a segment that may move: 8 bytes of the owner, the allocator, the block; at an address that is a
// multiple of 4 only. Beside it stands a plain model of its cells, which tells what each operation must do;
// anything else is thrown, which ends a test as well as a fuzzer's run.
class Shadow {
public:
    explicit Shadow(int nSize) : m_bytes(static_cast<std::size_t>(nBlock + nSize + 4), 0x77) {
        new (at(8)) basePoolAlloc;
        require(pool().init_pool(at(nBlock), nSize), "init_pool");
        if (nSize >= 24) m_cells[nBlock + 8] = {nSize - 8, true};
    }

    basePoolAlloc& pool() { return *reinterpret_cast<basePoolAlloc*>(at(8)); }
    unsigned char* at(std::int64_t nOffset) { return m_bytes.data() + 4 + nOffset; }

    // The whole cell is filled; so it is by realloc.
    void alloc(int n) {
        const std::int64_t nExpected = firstFit(n);
        void* p = m_live.empty() ? pool().realloc(nullptr, n) : pool().alloc(n);
        require(offset(p) == nExpected, "not the first fit");
        if (nExpected < 0) return;
        m_live.push_back(nExpected);
        fill(nExpected);
    }
    // The cell is one of those in use.
    void free(unsigned nPick) {
        if (m_live.empty()) return;
        std::swap(m_live[nPick % m_live.size()], m_live.back());
        Cell& cell = m_cells[m_live.back()];
        requireFilled(m_live.back(), cell.nSize, m_live.back());
        cell.bFree = true;
        pool().free(at(m_live.back()));
        m_live.pop_back();
    }
    void realloc(unsigned nPick, int n) {
        if (m_live.empty()) return alloc(n);
        std::int64_t& nPlace = m_live[nPick % m_live.size()];
        const std::int64_t nOld = nPlace;
        const auto cell = m_cells.find(nOld);
        const std::int64_t nOldSize = cell->second.nSize;
        grow(cell, n);
        const std::int64_t nExpected = cell->second.nSize >= n ? nOld : firstFit(n);
        require(offset(pool().realloc(at(nOld), n)) == nExpected, "neither in place nor the first fit");
        if (nExpected >= 0) nPlace = nExpected;
        cell->second.bFree = nPlace != nOld;
        requireFilled(nPlace, nOldSize, nOld);
        fill(nPlace);
    }
    // One of the above, or a move: allocations prevail, so that the pool is full most of the time.
    void step(unsigned nWhat, unsigned nPick, int n) {
        const unsigned nKind = nWhat % 8;
        if (nKind < 3) alloc(n);
        if (nKind == 3 || nKind == 4) free(nPick);
        if (nKind == 5 || nKind == 6) realloc(nPick, n);
        if (nKind == 7) std::vector(m_bytes).swap(m_bytes);  // The same bytes at another address.
    }

    // The cells are those of the model, and the free list is the free ones in address order, both ways.
    void check() {
        constexpr std::int64_t nHead = 16;
        std::int64_t nNode = nHead;
        for (const auto& [nData, cell] : m_cells) {
            const Words words = wordsAt(at(nData - 8), 3);  // The header, the links to both sides.
            require(words[0] == cell.nSize + 8 + (cell.bFree ? INT64_MIN : 0), "bad cell");
            if (!cell.bFree) continue;
            require(wordsAt(at(nNode), 1)[0] == nData - nNode && words[2] == nNode - nData, "bad list");
            nNode = nData;
        }
        require(wordsAt(at(nNode), 1)[0] == nHead - nNode, "bad list end");
        require(wordsAt(at(nHead + 8), 1)[0] == nNode - nHead, "bad list end");
        for (const std::int64_t nData : m_live)
            requireFilled(nData, m_cells[nData].nSize, nData);
    }

private:
    struct Cell {
        std::int64_t nSize;  // Of the data.
        bool bFree;
    };

    static void require(bool bTrue, const char* szWhat) {
        if (!bTrue) throw std::logic_error(szWhat);
    }
    std::int64_t offset(void* p) { return p == nullptr ? -1 : static_cast<unsigned char*>(p) - at(0); }

    // Joins a cell with the free ones behind it until it is large enough.
    void grow(auto cell, std::int64_t nNeed) {
        for (auto right = std::next(cell);
             cell->second.nSize < nNeed && right != m_cells.end() && right->second.bFree;) {
            cell->second.nSize += 8 + right->second.nSize;
            right = m_cells.erase(right);
        }
    }
    // Takes the leftmost free cell that is large enough, or can be.
    std::int64_t firstFit(int n) {
        const std::int64_t nNeed = (std::max(n, 16) + std::int64_t{3}) / 4 * 4;
        for (auto cell = m_cells.begin(); cell != m_cells.end(); ++cell) {
            auto& [nSize, bFree] = cell->second;
            if (!bFree) continue;
            grow(cell, nNeed);
            if (nSize < nNeed) continue;
            if (nSize > nNeed + 24) {
                m_cells[cell->first + nNeed + 8] = {nSize - nNeed - 8, true};
                nSize = nNeed;
            }
            bFree = false;
            return cell->first;
        }
        return -1;
    }

    // The place of a cell, at the time, tells with what it is filled.
    static unsigned char markOf(std::int64_t nData) { return static_cast<unsigned char>(nData / 4 * 37); }
    void fill(std::int64_t nData) { std::fill_n(at(nData), m_cells[nData].nSize, markOf(nData)); }
    void requireFilled(std::int64_t nData, std::int64_t nSize, std::int64_t nPlace) {
        require(std::count(at(nData), at(nData) + nSize, markOf(nPlace)) == nSize, "bytes lost");
    }

    std::vector<unsigned char> m_bytes;
    std::map<std::int64_t, Cell> m_cells;  // All of them, by the offset of the data.
    std::vector<std::int64_t> m_live;      // The data of those in use.
};

}  // namespace pooltest
