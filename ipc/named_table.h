// Tables of things shared by name within the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <unordered_map>

#include <vdx/locks.h>

#include "base/no_destructor.h"

namespace vdx {

// Guards all tables of named things. Usable to the end of the process; free in a forked child.
chReentrantCritical& namedObjectsLock();

// What the users of one name share.
struct NamedEntry {
    const std::string* pName = nullptr;
    std::atomic<const void*> pOwner{nullptr};  // The user that made it, until it leaves.
    std::int64_t nReferences = 0;              // Under the lock.
};

// Entry derives from NamedEntry. Its address stays while it has users.
template <class Entry>
class NamedTable {
public:
    // Joins the users of a name. A new entry is made ready by the caller, who holds the lock:
    // its nReferences is then 1.
    static Entry* join(const std::string& name, const void* pUser) {
        const auto [place, bNew] = entries().try_emplace(name);
        Entry& entry = place->second;
        if (bNew) {
            entry.pName = &place->first;
            entry.pOwner = pUser;
        }
        ++entry.nReferences;
        return &entry;
    }

    // Leaves; the last user destroys the entry. The caller holds the lock.
    static void leave(Entry* pEntry, const void* pUser) {
        if (pEntry->pOwner == pUser) pEntry->pOwner = nullptr;
        if (--pEntry->nReferences == 0) entries().erase(entries().find(*pEntry->pName));
    }

private:
    static std::unordered_map<std::string, Entry>& entries() {
        static NoDestructor<std::unordered_map<std::string, Entry>> s_entries;
        return s_entries.get();
    }
};

}  // namespace vdx
