// Tracing at the end of a process and across forks.
#include <vdx/stack_trace.h>

#include "trace/lines.h"

namespace {

bool s_bTracesLate = false;

// Traces to the console at the end, where redirections have no effect.
struct Late {
    ~Late() {
        if (!s_bTracesLate) return;
        // First: nothing has selected the output yet.
        helper().TraceConstString(std::string(szName) + " unchanged");
        {
            const chTraceStack scope(9, "scope()", nullptr);
            vdxWarningMessage(szName, 0, "warning");
        }
        helper().RedirectToNull();
        helper().ResetTraceLevel(0);
        helper().RedirectToFileTrace("/nonexistent/x", 1, 1);
        vdxTrace(9, "%s", szName);
        queuedText();
    }
    const char* szName;
} s_before{"made before"};  // Destroyed after everything that was made later.

}  // namespace

// While threads trace on.
TEST(TraceAtExit, StaticObjectsTraceToTheConsoleWhateverTheMethod) {
    const TempDir dir;
    for (const std::string& method : std::vector<std::string>{
             "9:share", "3:null", "2:log:" + (dir / "t"), "9:log:/dev/null/x", "5:console", "9:console"}) {
        SCOPED_TRACE(method);
        const auto result = runInChild([&]() -> int {
            setenv("trace", method.c_str(), 1);
            s_bTracesLate = true;
            vdxTrace(3, "main");
            static const Late s_after{"made after"};
            for (int i = 0; i < 4; ++i) {
                std::thread([] {
                    for (;;)
                        vdxTrace(9, "busy");
                }).detach();
            }
            vdxSleep(20);
            std::exit(0);
        });
        EXPECT_EQ(result.nStatus, 0) << result.err;
        // "made after" was made after the helper: it dies before it and still obeys.
        EXPECT_EQ(countOf(" made before\n", result.out), 1u) << result.out;
        EXPECT_EQ(countOf("made before unchanged\n", result.out), 1u) << result.out;
        EXPECT_EQ(countOf("warning\n", result.err), 2u) << result.err;
        EXPECT_EQ(countOf("{ scope()", result.out), countOf("} scope()", result.out));
    }
}

TEST(TraceFork, BothSidesTraceUnderTheirOwnIds) {
    const auto result = runInChild([] {
        const auto trace = [] { vdxTrace(3, "of %d", getpid()); };
        trace();
        vdxtest::statusOfFork([&] { return trace(), 0; });
        trace();
    });
    const std::regex withTheSameIds(R"((\[D:Who\?\+(\d+):\2\] [^\n]* of \2\n){3})");
    EXPECT_TRUE(std::regex_match(result.out, withTheSameIds)) << result.out;
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
    for (int i = 0; i < 20 && !HasFailure(); ++i)
        runInChild([&] { EXPECT_EQ(vdxtest::forkWhileBusy(1, redirect, redirect), 0); });
}
