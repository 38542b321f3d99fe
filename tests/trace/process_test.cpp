// Tracing at the end of a process, across forks, and from inside itself.
#include <vdx/trace_helper.h>

#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/platform.h>
#include <vdx/trace.h>

#include "support/child.h"
#include "support/temp_dir.h"

using vdxtest::runInChild;
using vdxtest::runProgram;

namespace {

const std::string FOLDER = VDX_TEST_BIN_DIR;

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t nCount = 0;
    for (std::size_t n = text.find(part); n != std::string::npos; n = text.find(part, n + 1))
        ++nCount;
    return nCount;
}

}  // namespace

TEST(TraceAtExit, StaticObjectsTraceToTheConsoleWhateverTheMethod) {
    const TempDir dir;
    for (const std::string& method :
         std::vector<std::string>{"9:share", "3:null", "2:log:" + (dir / "t"), "5:console"}) {
        SCOPED_TRACE(method);
        const auto result = runProgram({FOLDER + "/test_trace_exit_helper"}, {"trace=" + method});
        EXPECT_EQ(result.nStatus, 0) << result.err;
        // "made after" was made after the helper: it dies before it and still obeys.
        EXPECT_EQ(countOf(result.out, " made before\n"), 1u) << result.out;
        EXPECT_EQ(countOf(result.out, "made before unchanged\n"), 1u) << result.out;
        EXPECT_EQ(countOf(result.err, "warning\n"), 2u) << result.err;
        EXPECT_EQ(countOf(result.out, "{ scope()"), countOf(result.out, "} scope()"));
    }
}

TEST(TraceAtExit, ThreadsMayTraceOn) {
    for (const std::string method : {"9:share", "9:log:/dev/null/x", "9:console"}) {
        SCOPED_TRACE(method);
        const auto result = runProgram({FOLDER + "/test_trace_exit_helper", "threads"}, {"trace=" + method});
        EXPECT_EQ(result.nStatus, 0) << result.err;
    }
}

TEST(TraceFork, BothSidesTraceUnderTheirOwnIds) {
    const auto result = runInChild([] {
        vdxTrace(3, "parent before");
        const pid_t pid = fork();
        vdxTrace(3, pid == 0 ? "child" : "parent after");
        if (pid == 0) _exit(0);
        waitpid(pid, nullptr, 0);
        std::printf("%d %d\n", getpid(), pid);
        return 0;
    });
    std::istringstream last(result.out.substr(result.out.rfind('\n', result.out.size() - 2) + 1));
    std::string parent, child;
    last >> parent >> child;
    EXPECT_EQ(countOf(result.out, "[D:Who?+" + parent + ":" + parent + "] "), 2u) << result.out;
    EXPECT_EQ(countOf(result.out, "[D:Who?+" + child + ":" + child + "] "), 1u) << result.out;
}

TEST(TraceFork, WhileOtherThreadsTrace) {
    const TempDir dir;
    for (const int nMethod : {2, 3}) {
        SCOPED_TRACE(nMethod);
        const auto result = runInChild([&] {
            uCTraceHelper* pHelper = uCTraceHelper::getInstance();
            nMethod == 2 ? pHelper->RedirectToFileTrace(dir / "t", 1000, 2)
                         : pHelper->RedirectToShareMemory();
            std::atomic<bool> bStop{false};
            std::vector<std::thread> threads;
            for (int i = 0; i < 2; ++i) {
                threads.emplace_back([&] {
                    std::string text;
                    while (!bStop) {
                        vdxTrace(3, "busy");
                        pHelper->ReadShareMemoryString(text);
                    }
                });
            }
            int nBad = 0;
            for (int i = 0; i < 40; ++i) {
                const pid_t pid = fork();
                if (pid == 0) {
                    alarm(20);
                    pHelper->RedirectToShareMemory();
                    vdxTrace(3, "child");
                    std::string text;
                    _exit(pHelper->ReadShareMemoryString(text) ? 0 : 1);
                }
                int nStatus = -1;
                waitpid(pid, &nStatus, 0);
                nBad += nStatus != 0;
            }
            bStop = true;
            for (std::thread& thread : threads)
                thread.join();
            return nBad;
        });
        EXPECT_EQ(result.nStatus, 0);
    }
}

TEST(TraceFork, DuringTheFirstTraceOfAnotherThread) {
    for (int i = 0; i < 20; ++i) {
        const auto result = runInChild([] {
            std::thread first([] { uCTraceHelper::getInstance()->RedirectToNull(); });
            const pid_t pid = fork();
            if (pid == 0) {
                alarm(20);
                uCTraceHelper::getInstance()->RedirectToNull();
                _exit(0);
            }
            int nStatus = -1;
            waitpid(pid, &nStatus, 0);
            first.join();
            return nStatus;
        });
        ASSERT_EQ(result.nStatus, 0);
    }
}

TEST(TraceNested, AllocationsThatTraceNeitherDeadlockNorRecurse) {
    const TempDir dir;
    const auto result = runProgram({FOLDER + "/test_trace_nested_helper", dir / "t"});
    EXPECT_EQ(result.nStatus, 0) << result.err;
    EXPECT_GT(countOf(result.out, "allocated"), 60u);
    EXPECT_EQ(countOf(TempDir::read(dir / "t-0.log") + TempDir::read(dir / "t-1.log"), "file 29"), 1u);
}
