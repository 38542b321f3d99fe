// The trace helper: options, outputs, and many threads.
#include <cstdio>
#include <sstream>
#include <tuple>

#include <vdx/socket.h>

#include "net/peer.h"
#include "trace/lines.h"

namespace {

constexpr int THREADS = 8, LINES = 10'000;

// Returns what another thread has read of the queue meanwhile, too seldom for its size.
std::string traceOnThreads() {
    std::string read;
    vdxtest::runTogether(THREADS + 1, [&](int i) {
        for (int n = 0; n < LINES && i < THREADS; ++n)
            vdxModuleTrace(5, "E:T", "%d %d", i, n);
        for (int n = 0; n < 10 && i == THREADS; ++n) {
            vdxSleep(10);
            read += queuedText();
        }
    });
    return read + queuedText();
}

// What traceOnThreads wrote: each line is whole, none is missing, each thread's are in order.
void expectInOrder(const std::string& text) {
    std::istringstream lines(text);
    std::vector<int> found(THREADS);
    for (std::string line; std::getline(lines, line);) {
        unsigned i = 0;
        int n = 0, nEnd = 0;
        // Much faster than an expression.
        std::sscanf(line.c_str(), "%*[^T]T+%*d:%*d] %*d-%*d %*d:%*d:%*f %*f %u %d%n", &i, &n, &nEnd);
        if (nEnd == 0) {
            ASSERT_TRUE(line.empty() || line.ends_with(" bytes first.")) << line;
            continue;
        }
        ASSERT_EQ(found.at(i)++, n) << line;
        ASSERT_EQ(line.size(), static_cast<std::size_t>(nEnd)) << line;
    }
    EXPECT_EQ(found, std::vector<int>(THREADS, LINES));
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
        std::printf("<%s>", queuedText().c_str());
    });
    EXPECT_EQ(withoutStamps(result.out), "[D:Who?@console\n[D:Who?@still console\n<[D:Who?@queue\n>");
    EXPECT_EQ(withoutStamps(TempDir::read(dir / "t-0.log")),
              "[D:Who?@file\nas it is\n[W:] f.cpp(1): #warned\n");
    EXPECT_EQ(countOf("\n", result.err), 3u) << "each warning once";
}

namespace {

// Sends more than the connection holds to a peer that reads late.
void sendToALateReader() {
    const peer::Fd listener = peer::listening(AF_INET);
    chSocketTCP socket;
    ASSERT_TRUE(socket.CreateSocket(AF_INET) && socket.ConnectTo(peer::nameOf(listener), 10'000));
    const std::string text(32 << 20, 's');
    std::thread reader([&] {
        const peer::Fd late(accept(listener, nullptr, nullptr));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(peer::readAll(late, text.size()), text);
    });
    EXPECT_TRUE(socket.Send(text.data(), static_cast<int>(text.size())));
    reader.join();
}

}  // namespace

// The socket's failed send is formatted, passes the level, gets its prefix, and is written by
// the method of the environment; then the socket waits and sends the rest.
TEST(Flow, ATracedCallOfASocket) {
    const std::regex line(
        R"((\[D:Who\?)" + STAMP +
        R"(chSocketTCP::Send failed! nSendCount=0 errno:\[11\]\[Resource temporarily unavailable\]\n)+)");
    for (const std::string option : {"7:console:", "7:share:", "7:log:", "6:console:"}) {
        const TempDir dir;
        const auto result = runInChild([&] {
            setenv("trace", (option + dir.path() + "/t").c_str(), 1);
            sendToALateReader();
            std::printf("%s", queuedText().c_str());
        });
        const std::string text = result.out + TempDir::read(dir / "t-0.log");
        EXPECT_EQ(std::regex_match(text, line), option[0] == '7') << option << text;
    }
}

TEST(uCTraceHelper, EightThreadsToEachOutput) {
    expectInOrder(runInChild([] { traceOnThreads(); }).out);
    const TempDir dir;
    helper().RedirectToFileTrace(dir / "t", 1 << 20, 1);
    traceOnThreads();
    expectInOrder(TempDir::read(dir / "t-0.log"));
    helper().RedirectToShareMemory();
    expectInOrder(traceOnThreads());
}

TEST(uCTraceHelper, DepthsWrap) {
    EXPECT_EQ(helper().pop_trace_level(), 0xFFFFFFFFu);
    EXPECT_EQ(helper().push_trace_level(), 0xFFFFFFFFu);
    EXPECT_EQ(helper().push_trace_level(), 0u);
    helper().ClearGhostTracerLevel();  // Forgets no thread that lives.
    EXPECT_EQ(helper().push_trace_level(), 1u);
}
