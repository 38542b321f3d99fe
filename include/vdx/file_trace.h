// Rotating log files.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <vdx/export.h>
#include <vdx/node_alloc.h>

// Writes lines to a small set of numbered files and rotates them by size.
//
// The files are base-0.log (the oldest) to base-(count - 1).log. When the last one
// is full, the oldest is removed and the others move down by one. A folder that is
// missing is not created.
//
// Example:
//   chFileTrace log;
//   log.OpenFileTrace(base, 64, 3);  // Three files of 64 KiB each, such as /var/tmp/relay-0.log.
//   log.WriteLogLine("started");
//
// A file is taken up as it is: when a process was killed in the middle of a line, the
// next line stands behind that half.
//
// Sizes count lines without their newlines and are tested before a write: a file
// grows by one byte a line more than counted, and exceeds its limit by a line.
//
// Copies share the open file, not the settings.
//
// Thread-safety: none; the user serialises access, copies included.
// Errors: never visible. A line that cannot be written is lost; old files that
// cannot be moved stay. Nothing is traced from here.
class VDX_API chFileTrace : public baseDymicAlloc {
public:
    // 400 KiB each, five files; the base name is <root path>/log/<program name>
    // (appRootPath, vdxGetExeFileName). Opens nothing.
    chFileTrace();
    ~chFileTrace();
    chFileTrace(const chFileTrace& other);
    chFileTrace& operator=(const chFileTrace& other);

    // Closes the file and sets what is not empty or 0: base name, limit of a file
    // in KiB (modulo 4 GiB), number of files. Then finds the files that exist,
    // counting from 0: surplus ones are removed, the newest keep their order as 0
    // to count - 1, and writing continues in the last. Returns true.
    bool OpenFileTrace(const std::string& name, int nSizeKiB, int nCount);

    // "base-index.log".
    std::string GetFileName(int nIndex) const;

    // Writes the line and a newline, flushed. Returns true.
    bool WriteLogLine(const std::string& line);

    // Writes a head, the line and a newline, flushed. A null head is empty.
    // Returns true.
    bool WriteLogLine(const char* szHead, const std::string& line);

    // The same, not flushed. Returns true.
    bool WriteLogLineRaw(const char* szHead, const std::string& line);

    // Hands what is buffered to the system. Returns true.
    bool Flush();

private:
    friend class uCTraceHelper;
    struct Holder;
    void writeLine(std::string_view line);
    bool isOpen() const;
    void closeFile();
    void openFile();
    void rotate();
    bool prepareWrite();
    int removeSurplusFiles();
    void releaseHolder();

    Holder* m_pHolder = nullptr;
    std::string m_base;
    std::uint32_t m_nMaxSize = 400 * 1024;
    std::int32_t m_nMaxCount = 5;
    std::int32_t m_nIndex = 0;  // Of the file being written.
    std::uint32_t m_nSize = 0;  // Of that file, as counted.
};
