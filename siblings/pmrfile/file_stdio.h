// Files as buffered streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

// One open file, read from or written to through a buffer.
//
// The file is closed on exec and when the object dies. Directories do not open.
// Thread-safety: one thread at a time. Errors: false, a short count or -1, with
// errno set.
class chFileStdio {
public:
    enum OpenMode : int {
        OPEN_READ = 0,
        OPEN_CREATE = 4097,   // For writing; created when missing, emptied when not.
        OPEN_APPEND = 12288,  // For writing at the end; created when missing.
    };

    chFileStdio() = default;
    ~chFileStdio() { Close(); }
    chFileStdio(const chFileStdio&) = delete;
    chFileStdio& operator=(const chFileStdio&) = delete;

    // Closes the file held so far, then opens the named one. Any other mode fails.
    bool Open(const std::string& name, int nMode);

    // False when the system reports that something written so far may be lost.
    // True, and nothing happens, when no file is open.
    bool Close();

    bool IsFileOpened() const { return m_pFile != nullptr; }

    // How many elements were read: fewer than nCount at the end or after an error.
    std::size_t Read(void* pBuffer, std::size_t nElementSize, std::size_t nCount);

    // How many elements the buffer or the file took.
    std::size_t Write(const void* pData, std::size_t nElementSize, std::size_t nCount);
    bool WriteString(std::string_view text);

    // Writes the parts and flushes: one system call for a text of a line or so.
    bool WriteThrough(std::initializer_list<std::string_view> parts);

    // Hands what is buffered to the system.
    bool Flush();

    // Flush, then waits until the disk has it.
    bool Sync();

    // True after a read met the end, or an error, and when no file is open: a loop
    // that reads until then ends.
    bool IsEOF() const;

    // True after a read or write failed.
    bool HasFailed() const;

    // Bytes from the start of the file; for a file opened to append, its size. -1
    // without a file.
    std::int64_t GetPosition() const;

private:
    std::FILE* m_pFile = nullptr;
};
