// Tracing while allocations and file calls fail, each in turn, and while allocations trace.
#include <sys/stat.h>
#include <algorithm>
#include <functional>

#include <vdx/log.h>
#include <vdx/stack_trace.h>

#include "support/failing_calls.h"
#include "trace/lines.h"

using vdxtest::t_failure;

static thread_local bool t_bAllocationsTrace = false;

// The heap and the calls of log files.
extern "C" {
VDX_REPLACED(void*, malloc, (size_t n)) {
    if (t_bAllocationsTrace)
        vdxTrace(3, "allocated %zu bytes, a text that needs an allocation of its own", n);
    return vdxtest::fails("malloc") ? nullptr : __real_malloc(n);
}
VDX_FAILING(int, open, (const char* szName, int nFlags, ...), (szName, nFlags, 0666), -1)
VDX_FAILING(FILE*, fdopen, (int nFd, const char* szMode), (nFd, szMode), nullptr)
VDX_FAILING(ssize_t, write, (int nFd, const void* p, size_t n), (nFd, p, n), -1)
VDX_FAILING(int, rename, (const char* szOld, const char* szNew), (szOld, szNew), -1)
VDX_FAILING(int, unlink, (const char* szName), (szName), -1)
VDX_FAILING(int, remove, (const char* szName), (szName), -1)
VDX_FAILING(int, stat, (const char* szName, struct stat* p), (szName, p), -1)
}

namespace {

constexpr int LINES = 25;
std::string s_queued;
const std::string s_short(100, 'x'), s_long(100'000, 'q');
[[maybe_unused]] const bool s_bReserved = (s_queued.reserve(2 * LINES * s_long.size()), true);

// In order up to the last, with at most one missing.
bool isNearlyWhole(const std::vector<int>& found, int nFirst) {
    const bool bInOrder = std::ranges::adjacent_find(found, std::greater_equal<>()) == found.end();
    return bInOrder && !found.empty() && found.back() == LINES &&
           found.size() + 1 >= static_cast<std::size_t>(LINES - nFirst + 1);
}

// Reads the queue into a text that has room for it.
void drain() {
    for (std::string text; helper().ReadShareMemoryString(text);)
        s_queued += text;
}

// Everything that traces. The test itself allocates nothing: an exception would end the process.
void traceEverywhere(const std::string& name) {
    vdxTrace(3, "console %s", s_long.c_str() + 95'000);
    vdxWarningMessage("f", 1, "%5d", 1);
    vdxOutputWarningString("%5d", 1);
    consolePrintf(false, "%5d", 1);
    for (int i = 0; i < 2; ++i)  // Should the first one not keep the name.
        helper().RedirectToFileTrace(name, 1, 3);
    for (int i = 0; i < LINES; ++i)
        vdxTrace(3, "line %d %s|", i, s_short.c_str());
    helper().RedirectToShareMemory();
    for (int i = 0; i < LINES; ++i)
        vdxModuleTrace(3, "M:Q", "line %d %s|", i, s_long.c_str());
    drain();
    const chTraceStack scope(3, "scope()", nullptr);
    vdxReadStack(-1);
    vdxEncryptTrace(3, 0, "m", "record %d", 1);
}

// All outputs go on when the fault is over, and have what came before it. Returns whether the queue does;
// its block may be what could not be had.
bool checkAfter(const TempDir& dir) {
    drain();
    const bool bBlock = helper().TraceToShareMemory("line 25 |");
    drain();
    EXPECT_TRUE(bBlock ? isNearlyWhole(numbersBehind("line ", s_queued), 0) : s_queued.empty());
    helper().TraceToFileTrace("line 25 |");
    std::string files;
    for (const char* szName : {"t-0.log", "t-1.log", "t-2.log"})
        files += TempDir::read(dir / szName);
    const std::vector<int> inFiles = numbersBehind("line ", files);
    EXPECT_TRUE(!inFiles.empty() && inFiles[0] <= 18 && isNearlyWhole(inFiles, inFiles[0])) << files;
    EXPECT_EQ(countOf("|\n", files), inFiles.size()) << "each is whole";
    TraceNode node;
    qvTrace('I', "m", "last", 0);
    while (qvGetLog(node) > 0)
        continue;
    EXPECT_EQ(node.text, "last");
    return bBlock;
}

}  // namespace

// Each in a process of its own, for the first trace matters.
TEST(TraceFaults, EachAllocationAndFileCallFailingInTurn) {
    constexpr int NO_BLOCK = 98, NO_FAULT = 99;
    int n = 0, nWithoutBlock = 0;
    for (int nResult = 0; nResult != NO_FAULT; ++n) {
        const TempDir dir;
        const auto result = runInChild([&] {
            alarm(60);
            const int nFreeDescriptor = dup(0);
            close(nFreeDescriptor);
            const std::string name = dir / "t";
            t_failure = {.nLeft = n, .nError = ENOSPC};
            errno = EDOM;
            traceEverywhere(name);
            t_failure.nLeft = -1;
            EXPECT_EQ(errno, EDOM) << "Tracing leaves it alone.";
            if (t_failure.failed.empty()) return NO_FAULT;
            const bool bBlock = checkAfter(dir);
            helper().RedirectToFileTrace("", 0, 0);  // Closes the file.
            EXPECT_EQ(dup(0), nFreeDescriptor);
            EXPECT_FALSE(HasFailure()) << t_failure.failed;
            return HasFailure() ? 1 : bBlock ? 0 : NO_BLOCK;
        });
        nResult = result.exitCode();
        ASSERT_TRUE(nResult == 0 || nResult >= NO_BLOCK) << "call " << n << '\n' << result.out << result.err;
        nWithoutBlock += nResult == NO_BLOCK;
        EXPECT_EQ(countOf("q\nq", result.out), 0u) << "a line's end before its text: call " << n;
    }
    EXPECT_GT(n, 70);
    EXPECT_LT(nWithoutBlock, 10);
}

// To every output, from the making of the process's record on.
TEST(TraceNested, AllocationsThatTraceNeitherDeadlockNorRecurse) {
    const TempDir dir;
    const auto result = runInChild([&] {
        alarm(30);
        const std::string name = dir / "t";
        helper();
        t_bAllocationsTrace = true;
        traceEverywhere(name);
        t_bAllocationsTrace = false;
        EXPECT_GE(numbersBehind("line ", s_queued).back(), LINES - 1);
    });
    EXPECT_GT(countOf("allocated ", result.out), 20u);
    EXPECT_EQ(countOf("line 24 ", TempDir::read(dir / "t-2.log")), 1u);
}
