// Tracing while allocations and file calls fail, each in turn.
#include <vdx/trace_helper.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <new>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/log.h>
#include <vdx/stack_trace.h>
#include <vdx/trace.h>

#include "support/temp_dir.h"

namespace {

enum class Kind { None, Memory, File };

thread_local Kind t_kind = Kind::None;
thread_local int t_nLeft = 0;  // Calls until the one that fails.

bool fails(Kind kind) {
    return kind == t_kind && t_nLeft-- == 0;
}

}  // namespace

// The heap and the calls of log files (linked with --wrap).
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
#define FAILING(result, name, parameters, arguments, error)     \
    result __real_##name parameters;                            \
    result __wrap_##name parameters {                           \
        if (!fails(Kind::File)) return __real_##name arguments; \
        errno = error;                                          \
        return (result)(-1);                                    \
    }
extern "C" {
FAILING(ssize_t, write, (int nFd, const void* p, size_t n), (nFd, p, n), ENOSPC)
FAILING(int, rename, (const char* szOld, const char* szNew), (szOld, szNew), EACCES)
FAILING(int, unlink, (const char* szName), (szName), EACCES)
FAILING(int, remove, (const char* szName), (szName), EACCES)
FAILING(int, stat, (const char* szName, struct stat* pStatus), (szName, pStatus), EACCES)
void* __real_malloc(size_t nSize);
void* __wrap_malloc(size_t nSize) {
    return fails(Kind::Memory) ? nullptr : __real_malloc(nSize);
}
int __real_open(const char* szName, int nFlags, ...);
int __wrap_open(const char* szName, int nFlags, ...) {
    if (!fails(Kind::File)) return __real_open(szName, nFlags, 0666);
    errno = EMFILE;
    return -1;
}
FILE* __real_fdopen(int nFd, const char* szMode);
FILE* __wrap_fdopen(int nFd, const char* szMode) {
    return fails(Kind::File) ? nullptr : __real_fdopen(nFd, szMode);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr int LINES = 25;
const std::string s_short(100, 'x'), s_long(100'000, 'q');

// The numbers of the lines "<word> <number> ..." in a text.
std::vector<int> numbers(const std::string& text, const std::string& word) {
    std::vector<int> found;
    for (std::size_t n = text.find(word); n != std::string::npos; n = text.find(word, n + 1))
        found.push_back(std::atoi(text.c_str() + n + word.size()));
    return found;
}

// Exit codes that are no fault: the queue's block could not be had; no call was left to fail.
constexpr int NO_BLOCK = 98, NO_FAULT = 99;

// In order up to the last, with at most one missing.
bool isNearlyWhole(const std::vector<int>& found, int nFirst) {
    for (std::size_t i = 1; i < found.size(); ++i) {
        if (found[i] <= found[i - 1]) return false;
    }
    return !found.empty() && found.back() == LINES &&
           found.size() + 1 >= static_cast<std::size_t>(LINES - nFirst + 1);
}

int firstFreeDescriptor() {
    const int nFd = dup(0);
    close(nFd);
    return nFd;
}

// Everything that traces, with the fault somewhere in it.
void traceEverywhere(const std::string& name, std::string& queued) {
    vdxTrace(3, "console %s", s_long.c_str());
    vdxWarningMessage("f", 1, "%5d", 1);
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    for (int i = 0; i < 2; ++i)  // Should the first one not keep the name.
        pHelper->RedirectToFileTrace(name, 1, 3);
    for (int i = 0; i < LINES; ++i)
        vdxTrace(3, "line %d %s|", i, s_short.c_str());
    pHelper->RedirectToShareMemory();
    for (int i = 0; i < LINES; ++i)
        vdxModuleTrace(3, "M:Q", "line %d %s|", i, s_long.c_str());
    for (std::string text; pHelper->ReadShareMemoryString(text);)
        queued += text;
    const chTraceStack scope(3, "scope()", nullptr);
    vdxReadStack(-1);
    vdxEncryptTrace(3, 0, "m", "record %d", 1);
}

// 0 when all is as it should be, with the fault over.
int checkAfter(const TempDir& dir, std::string& queued) {
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    for (std::string text; pHelper->ReadShareMemoryString(text);)
        queued += text;
    const bool bBlock = pHelper->TraceToShareMemory("line 25 |");
    std::string text;
    if (bBlock != pHelper->ReadShareMemoryString(text)) return 2;
    if (bBlock && !isNearlyWhole(numbers(queued + text, "line "), 0)) return 2;
    pHelper->TraceToFileTrace("line 25 |");
    std::string files;
    for (const char* szName : {"t-0.log", "t-1.log", "t-2.log"})
        files += TempDir::read(dir / szName);
    const std::vector<int> inFiles = numbers(files, "line ");
    if (inFiles.empty() || !isNearlyWhole(inFiles, inFiles[0]) || inFiles[0] > 18) return 3;
    if (numbers(files, "|\n").size() != inFiles.size()) return 4;  // Each is whole.
    TraceNode node;
    qvTrace('I', "m", "last", 0);
    while (qvGetLog(node) > 0) {
    }
    if (node.text != "last") return 5;
    return bBlock ? 0 : NO_BLOCK;
}

// A process of its own, for the first trace matters.
int runWithFault(Kind kind, int nCall) {
    const TempDir dir;
    const pid_t pid = fork();
    if (pid != 0) {
        int nStatus = -1;
        waitpid(pid, &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 1000 + nStatus;
    }
    alarm(60);
    (void)!std::freopen("/dev/null", "w", stdout);
    (void)!std::freopen("/dev/null", "w", stderr);
    const int nDescriptor = firstFreeDescriptor();
    const std::string name = dir / "t";
    std::string queued;
    queued.reserve((LINES + 1) * s_long.size() * 2);
    try {
        t_nLeft = nCall;
        t_kind = kind;
        traceEverywhere(name, queued);
        t_kind = Kind::None;
    } catch (...) {
        _exit(6);
    }
    if (t_nLeft >= 0) _exit(NO_FAULT);
    const int nResult = checkAfter(dir, queued);
    uCTraceHelper::getInstance()->RedirectToFileTrace("", 0, 0);  // Closes the file.
    _exit(firstFreeDescriptor() == nDescriptor ? nResult : 7);
}

}  // namespace

TEST(TraceFaults, EachAllocationFailingInTurn) {
    int n = 0, nWithoutBlock = 0;
    for (int nResult; (nResult = runWithFault(Kind::Memory, n)) != NO_FAULT; ++n) {
        nWithoutBlock += nResult == NO_BLOCK;
        ASSERT_TRUE(nResult == 0 || nResult == NO_BLOCK) << nResult << " at allocation " << n;
    }
    EXPECT_GT(n, 30);
    EXPECT_LT(nWithoutBlock, 10);
}

TEST(TraceFaults, EachFileCallFailingInTurn) {
    int n = 0;
    for (int nResult; (nResult = runWithFault(Kind::File, n)) != NO_FAULT; ++n)
        ASSERT_EQ(nResult, 0) << "file call " << n;
    EXPECT_GT(n, 40);
}
