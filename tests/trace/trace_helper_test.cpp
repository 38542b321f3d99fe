// The trace helper: options, outputs, scopes, and many threads.
#include <vdx/trace_helper.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>
#include <vdx/platform.h>
#include <vdx/stack_trace.h>
#include <vdx/trace.h>

#include "support/child.h"
#include "support/threads.h"
#include "trace/lines.h"

using vdxtest::runInChild;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int LINES_PER_THREAD = 3'000;
#else
constexpr int LINES_PER_THREAD = 100'000;
#endif
constexpr int THREADS = 8;

void traceOnThreads(int nLines) {
    vdxtest::runTogether(THREADS, [nLines](int i) {
        for (int n = 0; n < nLines; ++n)
            vdxModuleTrace(5, "E:T", "%d %d", i, n);
    });
}

// Checks the lines that traceOnThreads wrote: each is whole, none is missing, each thread's are in order.
void expectInOrder(const std::vector<std::string>& lines, int nLines) {
    const std::regex whole(R"(\[(?:E:|\x1b\[1;31mE:\x1b\[00m)T)" + STAMP + R"((\d) (\d+))");
    std::array<int, THREADS> next{};
    for (const std::string& line : lines) {
        std::smatch found;
        ASSERT_TRUE(std::regex_match(line, found, whole)) << line;
        ASSERT_EQ(std::stoi(found[2]), next.at(std::stoul(found[1]))++) << line;
    }
    EXPECT_EQ(next,
              (std::array<int, THREADS>{nLines, nLines, nLines, nLines, nLines, nLines, nLines, nLines}));
}

}  // namespace

TEST(uCTraceHelper, OptionTextsSetLevelAndMethod) {
    // The variables "trace" and "systrace", then what they make of level and method.
    const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
        {"nothing set", nullptr, nullptr, "2147483647 1"},
        {"empty texts", "", "", "2147483647 1"},
        {"console", "5:console", "4:null", "5 1"},
        {"stdout", "5:stdout", "4:null", "5 1"},
        {"share", "3:share", nullptr, "3 3"},
        {"system", "3:system", nullptr, "3 3"},
        {"null", "3:null", nullptr, "3 0"},
        {"unknown word", "6:bogus", nullptr, "6 1"},
        {"words are case-sensitive", "6:NULL", nullptr, "6 1"},
        {"default for the process", nullptr, "3:share", "3 3"},
        {"default without a writer", nullptr, "3:log:/nowhere/x", "3 2"},
        {"level of the process, method of the default", "8", "2:null", "8 0"},
        {"-1 is unset", "-1", "2:null", "2 0"},
        {"garbage", "x:y:z:::::", nullptr, "0 1"},
        {"huge numbers", "99999999999999999999:share:9:9", nullptr, "2147483647 3"},
    };
    for (const auto& [szLabel, szTrace, szSystem, szExpected] : rows) {
        const auto result = runInChild([szProcess = szTrace, szDefault = szSystem] {
            if (szProcess) setenv("trace", szProcess, 1);
            if (szDefault) setenv("systrace", szDefault, 1);
            std::printf("%d %u", helper().GetOutputLevel(), helper().GetOutputMethod());
        });
        EXPECT_EQ(result.out, szExpected) << szLabel;
    }
}

TEST(uCTraceHelper, TheLogOptionGivesNameSizeAndNumber) {
    const TempDir dir;
    const std::string text(1100, 'x');
    setenv("trace", ("9:log:" + (dir / "t") + ":1:2").c_str(), 1);
    for (int i = 0; i < 3; ++i)
        vdxTrace(9, "%s", text.c_str());
    for (const char* szName : {"t-0.log", "t-1.log"})
        EXPECT_EQ(withoutStamps(TempDir::read(dir / szName)), "[D:Who?@" + text + '\n');
    EXPECT_FALSE(std::filesystem::exists(dir / "t-2.log"));
}

TEST(uCTraceHelper, ASuppressedLineIsNotFormatted) {
    const auto result = runInChild([] {
        helper().ResetTraceLevel(6);
        const char* volatile szInvalid = reinterpret_cast<const char*>(8);
        vdxTrace(7, "%s", szInvalid);
        vdxModuleTrace(7, "M:x", "%s", szInvalid);
        tracePrintf("%s", szInvalid);
        vdxTraceObject("a", &errno);
        vdxTraceObject("a", std::string("b"));
        vdxTrace(6, "passes");
    });
    EXPECT_EQ(withoutStamps(result.out), "[D:Who?@passes\n");
}

TEST(uCTraceHelper, RedirectionsActOnTheNextLine) {
    const TempDir dir;
    const auto result = runInChild([&] {
        EXPECT_TRUE(helper().RedirectToNull());
        vdxTrace(3, "nowhere");
        EXPECT_FALSE(helper().TraceConstString("nowhere"));
        EXPECT_TRUE(helper().RedirectToFileTrace(dir / "t", 0, 0));
        vdxTrace(3, "file");
        EXPECT_TRUE(helper().TraceConstString("as it is"));
        vdxWarningMessage("f.cpp", 1, "warned");
        vdxOutputWarningString("never in the file");
        EXPECT_TRUE(helper().RedirectToShareMemory());
        vdxTrace(3, "queue");
        EXPECT_TRUE(helper().RedirectToConsole());
        vdxTrace(3, "console");
        vdxWarningMessage("g.cpp", 1, "warned");
        helper().GetProcessTraceOption()->method = 17;  // Unknown: the output stays as it was.
        vdxTrace(3, "still console");
        std::printf("<%s>\n", readQueue().at(0).c_str());
    });
    EXPECT_EQ(withoutStamps(result.out), "[D:Who?@console\n[D:Who?@still console\n<[D:Who?@queue>\n");
    EXPECT_EQ(withoutStamps(TempDir::read(dir / "t-0.log")),
              "[D:Who?@file\nas it is\n[W:] f.cpp(1): #warned\n");
    EXPECT_EQ(countOf("\n", result.err), 3u) << "each warning once";
}

TEST(uCTraceHelper, EightThreadsToTheConsoleAndToTheFile) {
    expectInOrder(linesOf(runInChild([] { traceOnThreads(1000); }).out), 1000);
    const TempDir dir;
    helper().RedirectToFileTrace(dir / "t", 1 << 20, 1);
    traceOnThreads(LINES_PER_THREAD);
    expectInOrder(linesOf(TempDir::read(dir / "t-0.log")), LINES_PER_THREAD);
}

// While a reader drains it.
TEST(uCTraceHelper, EightThreadsToTheQueue) {
    helper().RedirectToShareMemory();
    std::vector<std::string> lines;
    std::atomic<bool> bDone{false};
    std::thread writers([&] {
        traceOnThreads(LINES_PER_THREAD);
        bDone = true;
    });
    for (bool bLast = false; !bLast;) {
        bLast = bDone;
        for (const std::string& text : readQueue()) {
            const bool bMoved = text.find("bytes first.\n") != std::string::npos;
            for (std::string& line : linesOf(bMoved ? text.substr(text.find('\n') + 1) : text))
                lines.push_back(std::move(line));
        }
        vdxSleep(50);
    }
    writers.join();
    expectInOrder(lines, LINES_PER_THREAD);
}

TEST(uCTraceHelper, DepthsArePerThread) {
    EXPECT_EQ(helper().push_trace_level(), 0u);
    EXPECT_EQ(helper().push_trace_level(), 1u);
    std::thread([] { EXPECT_EQ(helper().push_trace_level(), 0u); }).join();
    EXPECT_EQ(helper().pop_trace_level(), 1u);
    EXPECT_EQ(helper().pop_trace_level(), 0u);
    EXPECT_EQ(helper().pop_trace_level(), 0xFFFFFFFFu);
    EXPECT_EQ(helper().push_trace_level(), 0xFFFFFFFFu);
    helper().ClearGhostTracerLevel();
    EXPECT_EQ(helper().push_trace_level(), 0u);
}

TEST(chTraceStack, ScopesAreIndentedPerThread) {
    const auto result = runInChild([] {
        helper().ResetTraceLevel(5);
        {
            const chTraceStack quiet(9, "void quiet()", nullptr);
            const chTraceStack outer(5, "int ns::Cls::run(int, char)", nullptr);
            const chTraceStack middle(5, "int ns::Cls::run(int, char)", "x=%d", 5);
            const std::string empty;
            const chTraceStack inner(5, "no brackets", empty.c_str(), 0);
            std::thread([] { const chTraceStack other(5, "other()", "%s", ""); }).join();
        }
        const chTraceStack longest(5, (std::string(300, 'n') + "()").c_str(), nullptr);
        const chTraceStack open(5, "f(a", nullptr);
    });
    const std::string longName(255, 'n');
    EXPECT_EQ(std::regex_replace(withoutStamps(result.out), std::regex(R"(\[D:Who\?@)"), "|"),
              "|{ ns::Cls::run(int, char)\n|  { ns::Cls::runx=5\n|    { \n|{ other\n"
              "|} other\n|    } \n|  } ns::Cls::run\n|} ns::Cls::run(int, char)\n|{ " +
                  longName + "\n|  { f(a\n|  } f(a\n|} " + longName + '\n');
}

TEST(simpStackTracer, IndentsByOddCharacters) {
    const auto result = runInChild([] {
        const simpStackTracer first("void a::first(int)", nullptr);
        const simpStackTracer second("void a::second(int)", "(%d)", 2);
        EXPECT_EQ(simpStackTracer::getDepth(), 2);
    });
    const std::string lead(32, 2);
    EXPECT_EQ(result.out, "\n" + lead + "{ a::second(2)\n" + lead + "} a::second\n\n");
}
