// Blocks of memory reached by name, inside one small segment.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <vdx/export.h>
#include <vdx/pool.h>
#include <vdx/segment_backing.h>
#include <vdx/share_string.h>

// Example:
//   Totals* findTotals() {
//       bool bCreated = false;
//       void* p = nameGetSystemObject("shop.totals", sizeof(Totals), &bCreated);
//       if (p != nullptr && bCreated) std::memset(p, 0, sizeof(Totals));
//       return static_cast<Totals*>(p);
//   }
//   ...
//   nameHelperLock();
//   Totals* pTotals = findTotals();
//   ++pTotals->nOrders;
//   ...
//   nameHelperUnlock();

namespace vdx {
template <class T>
class NoDestructor;
template <class T>
class Singleton;
}  // namespace vdx

// The first 8 bytes of every named segment: how large it is and what it holds.
class VDX_API ipcObjectHeader {
public:
    static constexpr int TYPE_NAMED = 4099;  // "ipc_system_named"
    static constexpr int TYPE_TRACE = 4105;  // "ipc_system_trace"

    ipcObjectHeader() {
    }  // Writes nothing: the bytes may be a header already.  NOLINT(modernize-use-equals-default)

    bool InitHeader(int nSize, int nType);  // Always true.
    // Whether this is the header of such a segment. The name is for whoever reports the answer.
    bool AssertHeader(const std::string& name, int nSize, int nType) const;

private:
    std::int32_t m_nSize;  // Bytes of the segment.
    std::int32_t m_nType;
};
static_assert(sizeof(ipcObjectHeader) == 8);

// The list of named blocks inside a chSystemNamedObject; exists nowhere else.
//
// Blocks are aligned to 4 bytes, not more, and not cleared; copy 8-byte values in and out. They live until
// they are freed, whoever made them. All blocks, their names and 45 bytes for each share 8144 bytes.
//
// Thread-safety: none by itself; hold nameHelperLock() around every call.
class VDX_API chNamedObjectManager {
public:
    chNamedObjectManager(const chNamedObjectManager&) = delete;
    chNamedObjectManager& operator=(const chNamedObjectManager&) = delete;

    // The block of that name. A missing one is made with nSize bytes; one that exists is given as it is,
    // whatever its size. *pCreated, unless null, tells which. Null, and nothing made, when the segment has
    // no room.
    void* GetNamedObject(const std::string& name, int nSize, bool* pCreated);
    void* FindNamedObject(const std::string& name);  // Null when there is none.

    void FreeNamedObject(const std::string& name);  // Nothing when there is none.
    // Requires: an address that GetNamedObject gave and that was not freed since; null does nothing.
    void FreeObject(void* pData);

private:
    friend class chSystemNamedObject;
    friend VDX_API void* nameGetSystemObject(const char* szName, int nSize, bool* pCreated);
    struct Record;

    chNamedObjectManager() = default;
    void* get(std::string_view name, int nSize, bool* pCreated);
    Record* find(std::string_view name, list_chain_offset** ppPlace);
    Record* create(std::string_view name, int nSize);
    bool setName(Record* pRecord, std::string_view name);
    void clearName(Record* pRecord);
    basePoolAlloc& pool();

    list_chain_offset m_head;  // Sorted by name; the order is that of baseShareStringA, backwards.
};
static_assert(sizeof(chNamedObjectManager) == 16);

// The layout of the segment "ipc_system_named".
class VDX_API chSystemNamedObject {
public:
    static constexpr int SIZE = 8192;       // Bytes of the segment.
    static constexpr int POOL_SIZE = 8144;  // Bytes of it that blocks share.

    chSystemNamedObject();  // Lays out an empty segment; does not clear the pool's bytes.
    chSystemNamedObject(const chSystemNamedObject&) = delete;
    chSystemNamedObject& operator=(const chSystemNamedObject&) = delete;

    // The parts of the segment.
    const ipcObjectHeader& GetHeader() const { return m_header; }
    chNamedObjectManager& GetManager() { return m_manager; }
    basePoolAlloc& GetPool() { return m_pool; }

private:
    friend class chNamedObjectManager;

    ipcObjectHeader m_header;
    basePoolAlloc m_pool;
    chNamedObjectManager m_manager;
    unsigned char m_area[POOL_SIZE];
};
static_assert(sizeof(chSystemNamedObject) == chSystemNamedObject::SIZE);

// Opens the segment and its lock when it is asked for first, and lets go of both at the end of the process;
// named blocks stay for other users of the segment.
//
// Thread-safety: getInstance and the lock; the segment under the lock.
class VDX_API uCSystemNamedObjectHelper {
public:
    // The process's registry; opens it at the first call.
    static uCSystemNamedObjectHelper* getInstance();
    // The instance is its own: made once, never copied.
    uCSystemNamedObjectHelper(const uCSystemNamedObjectHelper&) = delete;
    uCSystemNamedObjectHelper& operator=(const uCSystemNamedObjectHelper&) = delete;

    int Lock() { return m_mutex.Lock(-1); }  // 1; 0 when the segment could not be opened.
    void Unlock() { m_mutex.Unlock(); }      // Undoes one Lock of this thread.
    bool IsLockedByThisThread() const { return m_mutex.IsLockedByThisThread(); }  // Exact.
    chSystemNamedObject* GetSystemObject() const { return m_pObject; }  // Null when it could not be opened.

private:
    friend vdx::NoDestructor<uCSystemNamedObjectHelper>;
    friend vdx::Singleton<uCSystemNamedObjectHelper>;
    static constexpr const char* SINGLETON_NAME = "uCSystemNamedObjectHelper";

    uCSystemNamedObjectHelper();
    void OnProcessExit();

    chSegmentMutex m_mutex;
    chSegmentMapFile m_mapFile;
    chSystemNamedObject* m_pObject = nullptr;
};

// Locks the registry, for this thread again if it has it already; waits without limit. 1, or 0 when there
// is no registry.
VDX_API int nameHelperLock();
VDX_API void nameHelperUnlock();

// GetNamedObject of the registry (see there). Requires: nameHelperLock() is held. A null name is the empty
// one. Null when there is no registry.
VDX_API void* nameGetSystemObject(const char* szName, int nSize, bool* pCreated);
