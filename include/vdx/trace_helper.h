// Levels and outputs of the process's trace lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include <vdx/export.h>
#include <vdx/file_trace.h>
#include <vdx/segment_backing.h>

// The environment variable "trace" sets level and method of a process, and
// "systrace", read by the process that makes the trace block, the default of all:
//
//   trace=5                        level 5, the default's method
//   trace=9:console                also "stdout"
//   trace=9:log:/var/tmp/app:64:3  rotating files: name, KiB each, number of files
//   trace=7:share                  the queue of the trace block; also "system"
//   trace=3:null                   nothing is written
//
// Example:
//   uCTraceHelper* pHelper = uCTraceHelper::getInstance();
//   pHelper->ResetTraceLevel(6);
//   pHelper->RedirectToShareMemory();
//   vdxTrace(6, "queued");
//   ...
//   std::string line;
//   while (pHelper->ReadShareMemoryString(line))
//       ship(line);

namespace vdx {
template <class T>
class NoDestructor;
template <class T>
class Singleton;
class TraceOutput;
}  // namespace vdx
class chSystemTracerManager;

// Level and method of a process, or the default of all.
struct chTraceOption {
    static constexpr std::int32_t UNSET_LEVEL = -1;            // No level of its own.
    static constexpr std::uint32_t UNSET_METHOD = 0xFFFFFFFF;  // No method of its own.
    // Nothing, the console, rotating files, the queue of the trace block.
    enum Method : std::uint32_t { METHOD_NULL, METHOD_CONSOLE, METHOD_FILE, METHOD_SHARE };

    std::int32_t level;    // Messages up to this level pass; -1 in a process: as the default says.
    std::uint32_t method;  // 0xFFFFFFFF in a process: as the default says.
};
static_assert(sizeof(chTraceOption) == 8);

// Decides what is traced and where it goes, and owns the trace block with its queue
// of lines. It is the named mutex "ipc_system_trace" itself.
//
// Traces may come at any time. When static objects are destroyed at the end of the
// process, and after, every level passes and lines go to the console. A forked child
// starts with an option pair of its own, made as a new process makes it. A line that
// is traced while its thread is inside this object (by an allocation that traces, say)
// goes to the console, and further ones inside that are dropped.
//
// Thread-safety: all members. errno is left as it was.
class VDX_API uCTraceHelper : public chSegmentMutex {
public:
    // The process's helper, made at the first call.
    static uCTraceHelper* getInstance();
    uCTraceHelper(const uCTraceHelper&) = delete;
    uCTraceHelper& operator=(const uCTraceHelper&) = delete;

    // The process's pair, made on first use from the variable "trace". Other
    // threads read it without a lock: write it by the functions below.
    chTraceOption* GetProcessTraceOption();

    // What holds for this process: its own value, or the default.
    int GetOutputLevel();
    std::uint32_t GetOutputMethod();

    // Each changes this process's pair and returns true. The file trace keeps what
    // is empty or 0 here, as chFileTrace::OpenFileTrace does. Without effect at the
    // end of the process.
    bool ResetTraceLevel(int nLevel);
    bool RedirectToConsole();
    bool RedirectToShareMemory();
    bool RedirectToNull();
    bool RedirectToFileTrace(const std::string& name, int nSizeKiB, int nCount);

    // Writes prefix and text, whatever the level. A null or empty module is "D:Who?".
    void TraceOutString(const char* szModule, const std::string& text);

    // Writes the text as it is, whatever the level. False when the method is null, or
    // the queue cannot take it.
    bool TraceConstString(const std::string& text);

    // The outputs themselves: a line without its newline.
    bool TraceToConsole(const std::string& line);
    bool TraceToFileTrace(const std::string& line);

    // Queues the line. A full queue moves its oldest lines aside, until they are read.
    // False, and the line is dropped, when it is too long for the whole block.
    bool TraceToShareMemory(const std::string& line);

    // Takes the oldest queued line; or all lines that were moved aside, each with a
    // newline, after a line that ends in "Write n bytes first.". False when there is
    // nothing.
    bool ReadShareMemoryString(std::string& out);

    // Nesting of scopes per thread, used by chTraceStack: the depth before, and the
    // depth after. Kept: a pop at depth 0 wraps.
    std::uint32_t push_trace_level();
    std::uint32_t pop_trace_level();

    // Forgets threads that are gone, as far as vdxIsValidTaskID tells: hardly any.
    void ClearGhostTracerLevel();

private:
    friend vdx::NoDestructor<uCTraceHelper>;
    friend vdx::Singleton<uCTraceHelper>;
    friend vdx::TraceOutput;
    static constexpr const char* SINGLETON_NAME = "uCTraceHelper";
    struct Private;

    uCTraceHelper();
    ~uCTraceHelper() = delete;
    void OnProcessExit();
    void enter();
    void leave();
    static void lockForFork();
    static void unlockInParent();
    static void unlockInChild();
    class Guard;
    bool writeToFile(std::string_view line);
    bool writeToShareMemory(std::string_view line);
    chTraceOption* makeProcessOption();
    bool setMethod(std::uint32_t nMethod);

    chSegmentMapFile m_mapFile;
    chSystemTracerManager* m_pBlock = nullptr;  // Null: it could not be mapped.
    chFileTrace m_file;
    std::unordered_map<std::uint32_t, std::uint32_t> m_depths;  // By task id.
    Private* m_pPrivate;
};
