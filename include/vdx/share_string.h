// Texts inside shared segments, and a registry that tells whether an object is still the one seen.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <vdx/export.h>
#include <vdx/share_pointer.h>

// Example:
//   auto* pText = static_cast<baseShareTextA*>(pPool->alloc(baseShareTextA::bytes_for(5)));
//   pText->set_Text("queue");
//   pRecord->name.set_Text(pText);                  // pRecord lies in the same segment
//   consolePrintf(false, "%s", pRecord->name.c_str());

// The empty string: what texts without a record point to.
extern "C" VDX_API const char szNULL[1];

// A text record in a segment: 32-bit length in bytes, the bytes, a terminating zero byte. Lies at any
// address.
class baseShareTextA {
public:
    baseShareTextA() = delete;
    baseShareTextA(const baseShareTextA&) = delete;
    baseShareTextA& operator=(const baseShareTextA&) = delete;

    // Bytes that the record of a text of this length takes: 5 more than the text.
    static constexpr std::size_t bytes_for(std::size_t nLength) { return nLength + 5; }

    // Writes length, bytes and the zero byte. Requires: bytes_for(text.size()) bytes behind this.
    void set_Text(std::string_view text) {
        const auto nLength = static_cast<std::uint32_t>(text.size());
        std::memcpy(m_length, &nLength, sizeof nLength);
        if (nLength != 0) std::memcpy(c_ptr(), text.data(), nLength);
        c_ptr()[nLength] = '\0';
    }
    // Bytes of the text.
    std::uint32_t length() const {
        std::uint32_t nLength;
        std::memcpy(&nLength, m_length, sizeof nLength);
        return nLength;
    }
    // The bytes of the text, with a zero byte behind them.
    char* c_ptr() { return reinterpret_cast<char*>(this) + sizeof m_length; }
    const char* c_ptr() const { return reinterpret_cast<const char*>(this) + sizeof m_length; }

private:
    unsigned char m_length[4];
};

// A read-only view of a text record, by a self-relative link (share_pointer.h says how such links may
// be copied). Without a record it is the empty text.
//
// Thread-safety: none; the owner of the segment serialises its users.
class VDX_API baseShareStringA {
public:
    void set_Text(const baseShareTextA* pText) { m_text.setPointer(pText); }  // Null allowed.
    // The record, or null.
    baseShareTextA* get_Text() const { return static_cast<baseShareTextA*>(m_text.pointer()); }

    bool empty() const { return length() == 0; }  // True without a record, too.
    // Bytes of the text; 0 without a record.
    std::uint32_t length() const {
        const baseShareTextA* pText = get_Text();
        return pText == nullptr ? 0 : pText->length();
    }
    // The bytes, zero byte behind them; szNULL without a record, never null.
    const char* c_str() const {
        const baseShareTextA* pText = get_Text();
        return pText == nullptr ? szNULL : pText->c_ptr();
    }
    const char* c_ptr() const { return c_str(); }  // A second name of c_str.
    // All bytes, zero bytes inside the text included.
    std::string_view view() const { return {c_str(), length()}; }

    // By length and bytes; no record equals a record of length 0.
    bool operator==(const baseShareStringA& other) const { return view() == other.view(); }
    // A total order that is quick to find, not the one of the alphabet: shorter texts come first.
    bool operator<(const baseShareStringA& other) const;
    bool operator>(const baseShareStringA& other) const { return other < *this; }

private:
    share_pointer m_text;
};
static_assert(sizeof(baseShareStringA) == 8 && alignof(baseShareStringA) == 1);

// Remembers which object lay at an address, and tells later whether it still does.
//
//     chPointerSnap::addSafePointer(pSession);  // in its constructor
//     chPointerSnap snap(pSession);             // kept by a task that runs later
//     ...
//     if (snap.hasData()) use(*pSession);
//     chPointerSnap::removeSafePointer(pSession);
//
// From then on the snapshot has no data, also when another object is registered at the address.
// A snapshot may outlive the registration; it is copied freely. It does not keep the object alive: what
// hasData says holds for as long as the caller knows that nobody removes the object meanwhile.
//
// Thread-safety: all members.
class VDX_API chPointerSnap {
public:
    // Registers an address. Registered again, it counts as a new object. Always true.
    static bool addSafePointer(const void* p);
    // Nothing happens for an address that is not registered.
    static void removeSafePointer(const void* p);

    // Sees the present registration of p. Of an address that is not registered nothing is seen:
    // such a snapshot never has data.
    explicit chPointerSnap(const void* p);

    // Whether the registration seen still stands.
    bool hasData() const;

private:
    // One registration. Stamps are counted over all addresses, so that none comes twice.
    struct Record {
        std::atomic<const void*> pAddress{nullptr};
        std::atomic<std::uint32_t> nStamp{0};  // 0: no registration.
    };
    struct Registry;
    static Registry& registry();

    const Record* m_pRecord;
    const void* m_pAddress = nullptr;
    std::uint32_t m_nStamp = 0;
};
