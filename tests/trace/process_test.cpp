// Tracing at the end of a process and across forks.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <vdx/trace.h>

#include "support/child.h"
#include "trace/lines.h"

using vdxtest::runInChild;

namespace {

int countOf(const std::string& text, const std::string& part) {
    int nCount = 0;
    for (std::size_t n = text.find(part); n != std::string::npos; n = text.find(part, n + 1))
        ++nCount;
    return nCount;
}

}  // namespace

// Also while threads trace on.
TEST(TraceAtExit, StaticObjectsTraceToTheConsoleWhateverTheMethod) {
    const TempDir dir;
    const std::string program = std::string(VDX_TEST_BIN_DIR) + "/test_trace_exit_helper";
    for (const std::string& method : std::vector<std::string>{
             "9:share", "3:null", "2:log:" + (dir / "t"), "9:log:/dev/null/x", "5:console", "9:console"}) {
        for (const std::string threads : {"", "threads"}) {
            SCOPED_TRACE(method + ' ' + threads);
            const auto result = vdxtest::runProgram({program, threads}, {"trace=" + method});
            EXPECT_EQ(result.nStatus, 0) << result.err;
            // "made after" was made after the helper: it dies before it and still obeys.
            EXPECT_EQ(countOf(result.out, " made before\n"), 1) << result.out;
            EXPECT_EQ(countOf(result.out, "made before unchanged\n"), 1) << result.out;
            EXPECT_EQ(countOf(result.err, "warning\n"), 2) << result.err;
            EXPECT_EQ(countOf(result.out, "{ scope()"), countOf(result.out, "} scope()"));
        }
    }
}

TEST(TraceFork, BothSidesTraceUnderTheirOwnIds) {
    pid_t idChild = 0;
    const auto result = runInChild([&] {
        vdxTrace(3, "parent before");
        idChild = fork();
        vdxTrace(3, idChild == 0 ? "child" : "parent after");
        if (idChild == 0) _exit(0);
        std::printf("%d %d", getpid(), idChild);
        return waitpid(idChild, nullptr, 0) == idChild ? 0 : 1;
    });
    const std::vector<std::string> lines = linesOf(result.out);
    std::istringstream ids(lines.back());
    std::string parent, child;
    ids >> parent >> child;
    EXPECT_EQ(countOf(result.out, "[D:Who?+" + parent + ":" + parent + "] "), 2) << result.out;
    EXPECT_EQ(countOf(result.out, "[D:Who?+" + child + ":" + child + "] "), 1) << result.out;
}

TEST(TraceFork, WhileAnotherThreadTraces) {
    const TempDir dir;
    const auto traceAndRead = [] {
        std::string text;
        vdxTrace(3, "text");
        return helper().ReadShareMemoryString(text);
    };
    const auto inChild = [&] { return helper().RedirectToShareMemory() && traceAndRead(); };
    helper().RedirectToFileTrace(dir / "t", 1000, 2);
    EXPECT_EQ(vdxtest::forkWhileBusy(40, traceAndRead, inChild), 0) << "to the file";
    helper().RedirectToShareMemory();
    EXPECT_EQ(vdxtest::forkWhileBusy(40, traceAndRead, inChild), 0) << "to the queue";
}

// Each time in a process that has not traced yet.
TEST(TraceFork, DuringTheFirstTraceOfAnotherThread) {
    const auto redirect = [] { return helper().RedirectToNull(); };
    for (int i = 0; i < 20; ++i) {
        const auto result = runInChild([&] { return vdxtest::forkWhileBusy(1, redirect, redirect); });
        ASSERT_EQ(result.nStatus, 0);
    }
}
