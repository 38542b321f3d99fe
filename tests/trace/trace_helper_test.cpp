// The trace helper: options, outputs, scopes, and many threads.
#include <vdx/trace_helper.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/platform.h>
#include <vdx/stack_trace.h>
#include <vdx/trace.h>

#include "support/child.h"
#include "support/temp_dir.h"

using vdxtest::runInChild;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int LINES_PER_THREAD = 3'000;
#else
constexpr int LINES_PER_THREAD = 100'000;
#endif
constexpr int THREADS = 8;

const char* const STAMP = R"(\+\d+:\d+\] \d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+\.\d{6} )";

uCTraceHelper& helper() {
    return *uCTraceHelper::getInstance();
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// Checks lines that end in "<thread> <number>": each thread's in order, none missing.
class OrderCheck {
public:
    void add(const std::string& line) {
        static const std::regex whole(R"(\[M:T)" + std::string(STAMP) + R"((\d) (\d+))");
        std::smatch found;
        if (!std::regex_match(line, found, whole)) {
            ADD_FAILURE() << "not whole: " << line;
        } else if (const int nThread = std::stoi(found[1]); std::stoi(found[2]) != m_next[nThread]++) {
            ADD_FAILURE() << "out of order: " << line;
        }
    }
    int total() const {
        int nTotal = 0;
        for (const auto& [nThread, nNext] : m_next)
            nTotal += nNext;
        return nTotal;
    }

private:
    std::map<int, int> m_next;
};

std::vector<std::thread> startTracing() {
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < LINES_PER_THREAD; ++n)
                vdxModuleTrace(5, "M:T", "%d %d", i, n);
        });
    }
    return threads;
}

}  // namespace

TEST(uCTraceHelper, OptionTextsSetLevelAndMethod) {
    const struct {
        const char* szLabel;
        const char* szTrace;
        const char* szSystem;
        int nLevel;
        std::uint32_t nMethod;
    } rows[] = {
        {"nothing set", nullptr, nullptr, INT_MAX, 1},
        {"empty texts", "", "", INT_MAX, 1},
        {"level only", "7", nullptr, 7, 1},
        {"console", "5:console", "4:null", 5, 1},
        {"stdout", "5:stdout", "4:null", 5, 1},
        {"share", "3:share", nullptr, 3, 3},
        {"system", "3:system", nullptr, 3, 3},
        {"null", "3:null", nullptr, 3, 0},
        {"unknown word", "6:bogus", nullptr, 6, 1},
        {"words are case-sensitive", "6:NULL", nullptr, 6, 1},
        {"default for the process", nullptr, "3:share", 3, 3},
        {"default without a writer", nullptr, "3:log:/nowhere/x", 3, 2},
        {"level of the process, method of the default", "8", "2:null", 8, 0},
        {"-1 is unset", "-1", "2:null", 2, 0},
        {"garbage", "x:y:z:::::", nullptr, 0, 1},
        {"empty first field", ":null", nullptr, 0, 0},
        {"huge numbers", "99999999999999999999:share:9:9", nullptr, INT_MAX, 3},
        {"small numbers", "-99999999999999999999", nullptr, INT_MIN, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const auto result = runInChild([&] {
            row.szTrace ? setenv("trace", row.szTrace, 1) : unsetenv("trace");
            row.szSystem ? setenv("systrace", row.szSystem, 1) : unsetenv("systrace");
            std::printf("%d %u", helper().GetOutputLevel(), helper().GetOutputMethod());
            return 0;
        });
        EXPECT_EQ(result.out, std::to_string(row.nLevel) + ' ' + std::to_string(row.nMethod));
    }
}

TEST(uCTraceHelper, TheLogOptionOpensRotatingFiles) {
    const TempDir dir;
    const auto result = runInChild([&] {
        setenv("trace", ("9:log:" + (dir / "t") + ":1:2").c_str(), 1);
        for (int i = 0; i < 3; ++i)
            vdxTrace(9, "%s", std::string(1100, 'x').c_str());
        vdxTrace(10, "not this");
        return 0;
    });
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_TRUE(std::regex_match(TempDir::read(dir / "t-1.log"),
                                 std::regex(R"(\[D:Who\?)" + std::string(STAMP) + "x{1100}\n")));
    EXPECT_TRUE(std::filesystem::exists(dir / "t-0.log"));
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
        vdxTrace(6, "passes");
        return 0;
    });
    EXPECT_EQ(linesOf(result.out).size(), 1u);
    EXPECT_EQ(result.nStatus, 0);
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
        // An unknown method leaves the output as it was.
        helper().GetProcessTraceOption()->method = 17;
        vdxTrace(3, "still console");
        std::string line;
        while (helper().ReadShareMemoryString(line))
            std::printf("<%s>\n", line.substr(line.rfind(' ') + 1).c_str());
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result.exitCode(), 0);
    const auto out = linesOf(result.out);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_TRUE(out[0].ends_with(" console"));
    EXPECT_TRUE(out[1].ends_with(" still console"));
    EXPECT_EQ(out[2], "<queue>");
    const auto file = linesOf(TempDir::read(dir / "t-0.log"));
    ASSERT_EQ(file.size(), 3u);
    EXPECT_TRUE(file[0].ends_with(" file"));
    EXPECT_EQ(file[1], "as it is");
    EXPECT_TRUE(file[2].starts_with("[W:] f.cpp(1): ") && file[2].ends_with("warned"));
    EXPECT_EQ(linesOf(result.err).size(), 3u);  // Each warning once.
}

TEST(uCTraceHelper, TracingLeavesErrnoAlone) {
    const TempDir dir;
    const std::string errorText = "%m%s";  // Not of the standard, but of the C libraries.
    helper().RedirectToFileTrace(dir / "missing/t", 0, 0);
    errno = EDOM;
    vdxTrace(3, "lost");
    helper().RedirectToFileTrace(dir / "t", 1, 1);
    errno = EDOM;
    vdxTrace(3, errorText.c_str(), "");
    EXPECT_EQ(errno, EDOM);
    EXPECT_NE(TempDir::read(dir / "t-0.log").find(vdxTransLastError(EDOM)), std::string::npos);
    helper().RedirectToShareMemory();
    errno = EDOM;
    vdxTrace(3, "queued");
    EXPECT_EQ(errno, EDOM);
}

TEST(uCTraceHelper, EightThreadsToTheFile) {
    const TempDir dir;
    helper().RedirectToFileTrace(dir / "t", 1 << 20, 1);
    for (std::thread& thread : startTracing())
        thread.join();
    OrderCheck check;
    std::ifstream file(dir / "t-0.log");
    for (std::string line; std::getline(file, line);)
        check.add(line);
    EXPECT_EQ(check.total(), THREADS * LINES_PER_THREAD);
}

TEST(uCTraceHelper, EightThreadsToTheQueue) {
    helper().RedirectToShareMemory();
    OrderCheck check;
    std::string text;
    auto drain = [&] {
        while (helper().ReadShareMemoryString(text)) {
            const bool bMoved = text.find("bytes first.\n") != std::string::npos;
            for (const std::string& line : linesOf(bMoved ? text.substr(text.find('\n') + 1) : text))
                check.add(line);
        }
    };
    std::vector<std::thread> threads = startTracing();
    for (int i = 0; i < 20; ++i) {
        vdxSleep(5);
        drain();
    }
    for (std::thread& thread : threads)
        thread.join();
    drain();
    EXPECT_EQ(check.total(), THREADS * LINES_PER_THREAD);
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
        return 0;
    });
    std::vector<std::string> texts;
    for (const std::string& line : linesOf(result.out))
        texts.push_back(std::regex_replace(line, std::regex(R"(^\[D:Who\?)" + std::string(STAMP)), ""));
    const std::vector<std::string> expected = {"{ ns::Cls::run(int, char)",
                                               "  { ns::Cls::runx=5",
                                               "    { ",
                                               "{ other",
                                               "} other",
                                               "    } ",
                                               "  } ns::Cls::run",
                                               "} ns::Cls::run(int, char)",
                                               "{ " + std::string(255, 'n'),
                                               "  { f(a",
                                               "  } f(a",
                                               "} " + std::string(255, 'n')};
    EXPECT_EQ(texts, expected);
}

TEST(simpStackTracer, IndentsByOddCharacters) {
    const auto result = runInChild([] {
        const simpStackTracer first("void a::first(int)", nullptr);
        const simpStackTracer second("void a::second(int)", "(%d)", 2);
        EXPECT_EQ(simpStackTracer::getDepth(), 2);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    const std::string lead(32, 2);
    EXPECT_EQ(result.out, "\n" + lead + "{ a::second(2)\n" + lead + "} a::second\n\n");
    EXPECT_EQ(result.exitCode(), 0);
}
