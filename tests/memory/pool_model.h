// The pool's bytes, written and read by other means: offsets into an image instead of pointers, every
// step done the long way. The pool under test must give the same image, byte for byte.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace pooltest {

// An image: 8 bytes of the owner, the allocator (24 bytes) at offset 8, the block at offset 32.
constexpr std::int64_t nAllocator = 8;
constexpr std::int64_t nHead = 16;  // The free list's head.
constexpr std::int64_t nBlock = 32;

class Image {
public:
    explicit Image(std::vector<unsigned char>& bytes) : m_bytes(bytes) {}

    template <class T>
    T read(std::int64_t nAt) const {
        T value;
        std::memcpy(&value,
                    &m_bytes.at(static_cast<std::size_t>(nAt) + sizeof value - 1) - (sizeof value - 1),
                    sizeof value);
        return value;
    }
    template <class T>
    void write(std::int64_t nAt, T value) {
        std::memcpy(&m_bytes.at(static_cast<std::size_t>(nAt) + sizeof value - 1) - (sizeof value - 1),
                    &value, sizeof value);
    }

    std::int64_t end() const { return nBlock + read<std::int32_t>(nAllocator); }
    bool isFree(std::int64_t nCell) const { return read<std::int64_t>(nCell) < 0; }
    std::int64_t right(std::int64_t nCell) const { return nCell + (read<std::int64_t>(nCell) & INT64_MAX); }
    std::int64_t size(std::int64_t nCell) const { return right(nCell) - nCell - 8; }
    // Nodes by offset; a prev link leads to the second word of the node before.
    std::int64_t next(std::int64_t nNode) const { return nNode + read<std::int64_t>(nNode); }
    std::int64_t prev(std::int64_t nNode) const { return nNode + 8 + read<std::int64_t>(nNode + 8) - 8; }

private:
    std::vector<unsigned char>& m_bytes;
};

// The allocator's rules by the book: first fit, joins to the right only, a free that walks the cells.
class Model : public Image {
public:
    explicit Model(std::vector<unsigned char>& bytes) : Image(bytes) {}

    void init(std::int32_t nSize) {
        write<std::int32_t>(nAllocator, nSize);
        write<std::int32_t>(nAllocator + 4, static_cast<std::int32_t>(nBlock - nAllocator));
        write<std::int64_t>(nBlock, nSize | INT64_MIN);
        link(nHead, nBlock + 8);
        link(nBlock + 8, nHead);
    }

    // Offset of the data, -1 for none.
    std::int64_t alloc(int n) {
        const std::int64_t nNeed = ((n < 16 ? 16 : n) + 3LL) / 4 * 4;
        for (std::int64_t nNode = next(nHead); nNode != nHead;) {
            const std::int64_t nCell = nNode - 8;
            if (size(nCell) >= nNeed) return take(nCell, nNeed);
            if (!join(nCell)) nNode = next(nNode);
        }
        return -1;
    }

    void free(std::int64_t nData) {
        const std::int64_t nCell = nData - 8;
        write(nCell, read<std::int64_t>(nCell) | INT64_MIN);
        std::int64_t nFollower = nHead;
        for (std::int64_t nRight = right(nCell); nRight < end(); nRight = right(nRight)) {
            if (!isFree(nRight)) continue;
            nFollower = nRight + 8;
            break;
        }
        insertBefore(nData, nFollower);
    }

    std::int64_t realloc(std::int64_t nData, int n) {
        const std::int64_t nCell = nData - 8;
        const auto nOld = static_cast<std::size_t>(size(nCell));
        while (size(nCell) < n && join(nCell)) {
        }
        if (size(nCell) >= n) return nData;
        const std::int64_t nNew = alloc(n);
        if (nNew < 0) return -1;
        for (std::size_t i = 0; i < nOld; ++i) {
            const auto nStep = static_cast<std::int64_t>(i);
            write(nNew + nStep, read<unsigned char>(nData + nStep));
        }
        free(nData);
        return nNew;
    }

private:
    void link(std::int64_t nLeft, std::int64_t nRight) {
        write<std::int64_t>(nLeft, nRight - nLeft);
        write<std::int64_t>(nRight + 8, nLeft - nRight);
    }
    void insertBefore(std::int64_t nNode, std::int64_t nFollower) {
        const std::int64_t nPrev = prev(nFollower);
        link(nPrev, nNode);
        link(nNode, nFollower);
    }
    void unlink(std::int64_t nNode) {
        link(prev(nNode), next(nNode));
        write<std::int64_t>(nNode, -1);
        write<std::int64_t>(nNode + 8, -1);
    }
    bool join(std::int64_t nCell) {
        const std::int64_t nRight = right(nCell);
        if (nRight >= end() || !isFree(nRight)) return false;
        unlink(nRight + 8);
        write<std::int64_t>(nCell, (read<std::int64_t>(nCell) & INT64_MIN) | (right(nRight) - nCell));
        return true;
    }
    std::int64_t take(std::int64_t nCell, std::int64_t nNeed) {
        if (size(nCell) > nNeed + 24) {
            const std::int64_t nRest = nCell + 8 + nNeed;
            write<std::int64_t>(nRest, (right(nCell) - nRest) | INT64_MIN);
            write<std::int64_t>(nCell, (nRest - nCell) | INT64_MIN);
            insertBefore(nRest + 8, next(nCell + 8));
        }
        write<std::int64_t>(nCell, read<std::int64_t>(nCell) & INT64_MAX);
        unlink(nCell + 8);
        return nCell + 8;
    }
};

// What is wrong with the image, or "": cells tile the block, the free list is exactly the free cells in
// address order, forwards and backwards, and `live` (data offset to size) are exactly the used cells.
inline std::string findFault(const Image& image, const std::map<std::int64_t, int>& live) {
    std::vector<std::int64_t> freeCells;
    std::size_t nUsed = 0;
    for (std::int64_t nCell = nBlock; nCell != image.end(); nCell = image.right(nCell)) {
        const std::string where = " at " + std::to_string(nCell);
        if (nCell > image.end() || image.size(nCell) < 16) return "bad cell" + where;
        if (image.isFree(nCell)) {
            freeCells.push_back(nCell);
            continue;
        }
        const auto found = live.find(nCell + 8);
        if (found == live.end()) return "lost cell" + where;
        if (image.size(nCell) < found->second) return "small cell" + where;
        ++nUsed;
    }
    if (nUsed != live.size()) return "missing cells";
    std::int64_t nNode = nHead;
    for (const std::int64_t nCell : freeCells) {
        const std::int64_t nNext = image.next(nNode);
        if (nNext != nCell + 8 || image.prev(nNext) != nNode) return "bad list at " + std::to_string(nCell);
        nNode = nNext;
    }
    return image.next(nNode) == nHead && image.prev(nHead) == nNode ? "" : "bad list end";
}

}  // namespace pooltest
