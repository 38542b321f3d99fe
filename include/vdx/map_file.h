// Blocks of memory reached by name: within the process, or between processes.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <vdx/export.h>
#include <vdx/node_alloc.h>

// Example:
//   chMapFile file;
//   void* pBlock = file.OpenMapFile(name, sizeof(Board));
//   if (pBlock == nullptr || !file.IsCreateByMe()) return 1;
//   auto* pBoard = new (pBlock) Board;
//   ...
//   file.DestroyMapFile();  // the last user; the others call CloseMapFile()

// The file from which a System V key is made.
//
// Thread-safety: none. Errors: NO_KEY and one warning line.
class VDX_API xFileKey {
public:
    static constexpr std::uint32_t NO_KEY = 0xFFFFFFFF;  // No key could be made.

    // Where the key file of a name lies: a name with a path separator is a path itself, any other one
    // lies under "/tmp/vdx_". Kept in the object.
    const std::string& buildFilePath(const std::string& name);

    // The key of the name's file, which is made (empty, for everybody to read and write, never through
    // a symbolic link) when bCreate says so. NO_KEY when there is none.
    std::uint32_t OpenFileKey(const std::string& name, unsigned char nId, bool bCreate);

    void CloseFileKey() { m_path.clear(); }  // Forgets the path; the file stays.
    void DestroyFileKey();                   // Removes the file and forgets the path.

private:
    std::string m_path;  // Empty: no key file.
};

// A System V shared memory segment, shared between processes.
//
// The segment and its key file outlive every process that uses them, until somebody calls
// DestroyMapFile. A process that dies lets go of the segment like one that closes it.
//
// Thread-safety: none, and no lock on the content: users of the block agree on one.
// Errors: null and a warning line. Kept: without a key file the segment of the key -1 is taken.
class VDX_API chMapFile {
public:
    chMapFile() = default;
    ~chMapFile() { CloseMapFile(); }
    chMapFile(const chMapFile&) = delete;
    chMapFile& operator=(const chMapFile&) = delete;

    // Attaches to a segment that exists. Null, without a warning, when there is none.
    // Both open operations close first what the object holds.
    void* OpenMapFile(const std::string& name);

    // Creates the segment (all bytes 0) or attaches to the one that exists. Null also when that one is
    // smaller than nSize.
    void* OpenMapFile(const std::string& name, int nSize);

    // Whether this object created the segment, and so has to initialise the content.
    bool IsCreateByMe() const { return m_idCreator != -1; }

    // The block; null when closed; all bits set after an attach that failed.
    void* getData() const { return m_pData; }

    void Flush() {}  // Nothing: memory needs no flush.

    // Detaches. Segment and key file stay for the other users.
    void CloseMapFile();

    // Detaches, removes the segment and its key file. Those who are attached keep the memory until they
    // close; who opens the name now makes a new segment.
    void DestroyMapFile();

private:
    static constexpr unsigned char nKeyId = 'S';

    xFileKey m_key;
    std::int32_t m_idCreator = -1;  // Task that created the segment through this object; -1: none.
    void* m_pData = nullptr;
    std::int32_t m_idSegment = -1;
};

// The same interface within one process: all who open a name share one heap block.
//
// Thread-safety: different objects freely; one object by one thread at a time.
// Requires: closed before it is destroyed; otherwise its use of the block is never given back.
class VDX_API chMapFile_Local : private baseDymicAlloc {  // Its blocks appear in the leak report.
public:
    chMapFile_Local() = default;
    chMapFile_Local(const chMapFile_Local&) = delete;
    chMapFile_Local& operator=(const chMapFile_Local&) = delete;

    // Makes the block (not cleared, aligned for every type) or shares the one that exists, whatever its
    // size. Null when there is no memory. Closes first what the object holds.
    void* OpenMapFile(const std::string& name, int nSize);

    // Whether this object made the block. False for everybody once the maker has closed.
    bool IsCreateByMe() const;

    void Flush() {}                            // Nothing: memory needs no flush.
    void CloseMapFile();                       // The last one to close frees the block.
    void DestroyMapFile() { CloseMapFile(); }  // The same: others may use the block.

private:
    struct Entry;
    std::atomic<Entry*> m_pEntry{nullptr};
};
