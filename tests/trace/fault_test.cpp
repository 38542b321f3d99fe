// Tracing while allocations and file calls fail, each in turn, and while allocations trace.
#include <vdx/trace_helper.h>

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/log.h>
#include <vdx/stack_trace.h>
#include <vdx/trace.h>

#include "support/child.h"
#include "trace/lines.h"

namespace {

// What is done to the calls of the thread: one of them fails, or each allocation traces.
enum class Kind { None, FailMemory, FailFile, TraceMemory };

thread_local Kind t_kind = Kind::None;
thread_local int t_nLeft = 0;  // Calls until the one that fails.

bool fails(Kind kind) {
    return kind == t_kind && t_nLeft-- == 0;
}

}  // namespace

void beforeAllocation(std::size_t nSize);
void beforeAllocation(std::size_t nSize) {
    if (t_kind == Kind::TraceMemory)
        vdxTrace(3, "allocated %zu bytes, a text that needs an allocation of its own", nSize);
}

// The heap and the calls of log files (linked with --wrap).
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
#define FAILING(kind, result, name, parameters, arguments, failure, error) \
    result __real_##name parameters;                                       \
    result __wrap_##name parameters {                                      \
        if (!fails(Kind::kind)) return __real_##name arguments;            \
        errno = error;                                                     \
        return failure;                                                    \
    }
extern "C" {
FAILING(FailMemory, void*, malloc, (size_t n), (n), nullptr, ENOMEM)
FAILING(FailFile, int, open, (const char* szName, int nFlags, ...), (szName, nFlags, 0666), -1, EMFILE)
FAILING(FailFile, FILE*, fdopen, (int nFd, const char* szMode), (nFd, szMode), nullptr, ENOMEM)
FAILING(FailFile, ssize_t, write, (int nFd, const void* p, size_t n), (nFd, p, n), -1, ENOSPC)
FAILING(FailFile, int, rename, (const char* szOld, const char* szNew), (szOld, szNew), -1, EACCES)
FAILING(FailFile, int, unlink, (const char* szName), (szName), -1, EACCES)
FAILING(FailFile, int, remove, (const char* szName), (szName), -1, EACCES)
FAILING(FailFile, int, stat, (const char* szName, struct stat* p), (szName, p), -1, EACCES)
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
    const bool bInOrder =
        std::adjacent_find(found.begin(), found.end(), std::greater_equal<>()) == found.end();
    return bInOrder && !found.empty() && found.back() == LINES &&
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
    for (int i = 0; i < 2; ++i)  // Should the first one not keep the name.
        helper().RedirectToFileTrace(name, 1, 3);
    for (int i = 0; i < LINES; ++i)
        vdxTrace(3, "line %d %s|", i, s_short.c_str());
    helper().RedirectToShareMemory();
    for (int i = 0; i < LINES; ++i)
        vdxModuleTrace(3, "M:Q", "line %d %s|", i, s_long.c_str());
    for (std::string text; helper().ReadShareMemoryString(text);)
        queued += text;
    const chTraceStack scope(3, "scope()", nullptr);
    vdxReadStack(-1);
    vdxEncryptTrace(3, 0, "m", "record %d", 1);
}

// 0 when all is as it should be, with the fault over.
int checkAfter(const TempDir& dir, std::string& queued) {
    for (std::string text; helper().ReadShareMemoryString(text);)
        queued += text;
    const bool bBlock = helper().TraceToShareMemory("line 25 |");
    std::string text;
    if (bBlock != helper().ReadShareMemoryString(text)) return 2;
    if (bBlock && !isNearlyWhole(numbers(queued + text, "line "), 0)) return 2;
    helper().TraceToFileTrace("line 25 |");
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
    const auto result = vdxtest::runInChild([&] {
        alarm(60);
        const int nDescriptor = firstFreeDescriptor();
        const std::string name = dir / "t";
        std::string queued;
        queued.reserve((LINES + 1) * s_long.size() * 2);
        t_nLeft = nCall;
        t_kind = kind;
        traceEverywhere(name, queued);  // An exception would end the process.
        t_kind = Kind::None;
        if (t_nLeft >= 0) return NO_FAULT;
        const int nResult = checkAfter(dir, queued);
        helper().RedirectToFileTrace("", 0, 0);  // Closes the file.
        return firstFreeDescriptor() == nDescriptor ? nResult : 7;
    });
    return result.exitCode();
}

}  // namespace

TEST(TraceFaults, EachAllocationFailingInTurn) {
    int n = 0, nWithoutBlock = 0;
    for (int nResult; (nResult = runWithFault(Kind::FailMemory, n)) != NO_FAULT; ++n) {
        nWithoutBlock += nResult == NO_BLOCK;
        ASSERT_TRUE(nResult == 0 || nResult == NO_BLOCK) << nResult << " at allocation " << n;
    }
    EXPECT_GT(n, 30);
    EXPECT_LT(nWithoutBlock, 10);
}

TEST(TraceFaults, EachFileCallFailingInTurn) {
    int n = 0;
    for (int nResult; (nResult = runWithFault(Kind::FailFile, n)) != NO_FAULT; ++n)
        ASSERT_EQ(nResult, 0) << "file call " << n;
    EXPECT_GT(n, 40);
}

// To every output, from the making of the process's record on.
TEST(TraceNested, AllocationsThatTraceNeitherDeadlockNorRecurse) {
    const TempDir dir;
    const auto result = vdxtest::runInChild([&] {
        alarm(30);
        const std::string name = dir / "t";
        helper();
        t_kind = Kind::TraceMemory;
        helper().RedirectToFileTrace(name, 1, 2);
        for (int i = 0; i < 30; ++i)
            vdxTrace(3, "file %d %s", i, std::string(100, 'x').c_str());
        helper().RedirectToShareMemory();
        for (int i = 0; i < 30; ++i)
            vdxTrace(3, "queue %d %s", i, std::string(100'000, 'x').c_str());
        helper().push_trace_level();
        for (std::string text; helper().ReadShareMemoryString(text);)  // Allocates inside.
            continue;
        t_kind = Kind::None;
        return 0;
    });
    EXPECT_EQ(result.nStatus, 0) << result.err;
    EXPECT_GT(numbers(result.out, "allocated ").size(), 60u);
    const std::vector<int> inFile =
        numbers(TempDir::read(dir / "t-0.log") + TempDir::read(dir / "t-1.log"), "file ");
    EXPECT_EQ(std::count(inFile.begin(), inFile.end(), 29), 1);
}
