// The self-relative link: a pointer that survives a move of the block it lies in.
#pragma once

#include <cstdint>
#include <cstring>

// A pointer stored as the distance from its own address to its target.
//
//      this                      target
//       | offset = target - this   |
//       +--------------------------+          all bits set (-1): null
//
// A block whose inner links are all of this form works at whatever address it is mapped, in every
// process that maps it: nothing in it names an absolute address. It is the one link format of pool
// cells, shared texts and the lists of named segments.
//
//     struct Node { share_pointer next; int nValue; };
//     ...
//     pNode->next.setPointer(pOther);
//     ...
//     Node* pNext = static_cast<Node*>(pNode->next.pointer());
//
// The value depends on where the object lies: copy it by assignment, which computes it anew, never
// bytewise by itself (a bytewise copy of the whole block is what it is made for).
//
// Kept in bytes and copied in and out, so that it may lie at any address: pool cells are aligned to
// 4 bytes only.
//
// Thread-safety: none; whoever owns the block serialises its users.
class share_pointer {
public:
    share_pointer() { setOffset(nNull); }                                       // Null.
    explicit share_pointer(const void* p) { setPointer(p); }                    // Null allowed.
    share_pointer(const share_pointer& other) { setPointer(other.pointer()); }  // The same target.
    // Takes the other's target.
    share_pointer& operator=(const share_pointer& other) {
        setPointer(other.pointer());
        return *this;
    }

    // Points at p; null allowed.
    void setPointer(const void* p) {
        setOffset(p == nullptr ? nNull : static_cast<std::int64_t>(address(p) - address(this)));
    }
    // The target, or null.
    void* pointer() const {
        const std::int64_t nOffset = offset();
        if (nOffset == nNull) return nullptr;
        return reinterpret_cast<void*>(address(this) + static_cast<std::uintptr_t>(nOffset));
    }
    // Whether it is not null.
    bool hasData() const { return offset() != nNull; }

    // Same target, wherever the two links lie.
    bool operator==(const share_pointer& other) const { return pointer() == other.pointer(); }

    // The stored value: distance in bytes, -1 for null. 0 is the link's own address, which is how an
    // empty circular list is written.
    std::int64_t offset() const {
        std::int64_t nOffset;
        std::memcpy(&nOffset, m_offset, sizeof nOffset);
        return nOffset;
    }
    // Stores such a value.
    void setOffset(std::int64_t nOffset) { std::memcpy(m_offset, &nOffset, sizeof nOffset); }

private:
    static constexpr std::int64_t nNull = -1;

    static std::uintptr_t address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

    unsigned char m_offset[8];
};
static_assert(sizeof(share_pointer) == 8 && alignof(share_pointer) == 1);
