// Log records in memory, for an application to show or ship.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>

#include <vdx/export.h>
#include <vdx/locks.h>
#include <vdx/time.h>
#include <vdx/warnings.h>

// Example:
//   qvTrace('E', "Relay", "client lost", 3);
//   std::list<TraceNode*> records;
//   while (qvGetLog(records, 500000) > 0) {  // Frees the last ones; waits half a second.
//       for (const TraceNode* pRecord : records)
//           show(*pRecord);
//   }
//
// Records are neither filtered by level nor written to files here; the trace
// functions of <vdx/trace.h> know nothing of them.

namespace vdx {
template <class T>
class NoDestructor;
}  // namespace vdx

// One record.
struct TraceNode {
    std::int32_t code = 0;       // The caller's number; never negative.
    std::uint64_t sequence = 0;  // 1 for the first record of the process.
    char level = 0;              // 'E', 'W', 'N', 'I', 'D' or 'T'.
    std::string module;          // As given, by convention a name.
    std::string text;            // As given, without a newline of its own.
    SYSTEMTIME time{};           // Local time of the queuing.
    std::uint32_t task = 0;      // Task id of the queuing thread.
};

// The queue of records; without a limit. It lives to the very end of the process.
//
// Thread-safety: all members.
class VDX_API QVLog {
public:
    // The process's queue, made at the first call.
    static QVLog* getInstance();

    // Queues a record and wakes one waiter; a negative code becomes 0. With debug
    // output on, the text goes to the system log first.
    void trace(char level, const std::string& module, const std::string& text, int nCode);

    // Takes the oldest record and returns how many are left; -1, and the node as
    // it was, when there is none.
    int getLog(TraceNode& out);

    // Frees the records that the list holds and takes all records, oldest first;
    // returns how many. Waits for one at most nWait MICROseconds if there is none;
    // not at all when nWait is below 1. The caller frees what it takes with delete,
    // or hands the list in again.
    int getLog(std::list<TraceNode*>& out, int nWait);

    // From now on; cannot be switched off.
    void enableDebugOutput();

    // Guards the creation of the instance.
    static chCriticalSection& instanceLock;

private:
    friend vdx::NoDestructor<QVLog>;
    QVLog();
    ~QVLog() = delete;
    static chCriticalSection& makeInstanceLock();
    static void lockForFork();
    static void unlockAfterFork();
    static void unlockInChild();

    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::atomic<bool> m_bDebugOutput{false};
    std::list<TraceNode*> m_queue;
    std::uint64_t m_nLastSequence = 0;
};

// The operations of QVLog on its instance.
VDX_API void qvTrace(char level, const std::string& module, const std::string& text, int nCode);
VDX_API int qvGetLog(TraceNode& out);
VDX_API int qvGetLog(std::list<TraceNode*>& out, int nWait);
VDX_API void qvEnableDebugOutput();

// Formats a text and queues it as a record with the letter that
// translateToLevelChar gives for the level and the flag as the record's code. The
// level is not tested, and nothing is encrypted.
VDX_API void vdxEncryptTrace(int nLevel, int nFlag, const char* szModule, const char* szFormat, ...)
    VDX_PRINTF_FORMAT(4, 5);

// Writes a formatted text to the platform's system log.
VDX_API void iLog(const char* szFormat, ...) VDX_PRINTF_FORMAT(1, 2);

// The module log: lines in which modules of the library say what they do, such as
// the network monitor. By default they go to the platform's system log.

// Receives such a line on the thread that reports it. Levels: 0 trace, 1 debug,
// 2 info, 3 warning, 4 error, 5 critical. The texts live until it returns.
using vdxModuleLogSink = void (*)(int nLevel, const char* szModule, const char* szText, void* pContext);

// Where the lines go from now on; null brings the default back. A line that is on
// its way in another thread may still reach the former sink. Thread-safe.
VDX_API void vdxSetModuleLogSink(vdxModuleLogSink pSink, void* pContext);

// "trace" to "critical" for 0 to 5, else "off".
VDX_API const char* vdxModuleLogLevelName(int nLevel);
