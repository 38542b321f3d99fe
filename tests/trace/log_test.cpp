// The queue of log records, the system log and the module log.
#include <vdx/log.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <map>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/platform.h>

#include "siblings/modulelog/module_log.h"
#include "support/child.h"

namespace {

std::mutex s_mutex;
std::vector<std::string> s_systemLog;

std::vector<std::string> takeSystemLog() {
    const std::lock_guard guard(s_mutex);
    return std::exchange(s_systemLog, {});
}

}  // namespace

// Takes the place of the system's function (linked with --wrap).
extern "C" void __wrap_syslog(int, const char* szFormat, ...) {
    char buffer[512];
    va_list args;
    va_start(args, szFormat);
    std::vsnprintf(buffer, sizeof buffer, szFormat, args);
    va_end(args);
    const std::lock_guard guard(s_mutex);
    s_systemLog.push_back(buffer);
    errno = EPIPE;
}

namespace {

void freeAll(std::list<TraceNode*>& records) {
    for (const TraceNode* pRecord : records)
        delete pRecord;
    records.clear();
}

TEST(QVLog, RecordsComeOutAsTheyWentIn) {
    TraceNode node;
    node.text = "untouched";
    EXPECT_EQ(qvGetLog(node), -1);
    EXPECT_EQ(node.text, "untouched");

    SYSTEMTIME before;
    vdxGetLocalTime(&before);
    qvTrace('E', "Net", "first", 7);
    qvTrace('W', "", "", -5);
    vdxEncryptTrace(9, -1, "Obj", "%s=%d", "x", 3);
    vdxEncryptTrace(3, 12, nullptr, "last");

    const struct {
        int nLeft;
        TraceNode expected;
    } rows[] = {{3, {7, 1, 'E', "Net", "first", {}, 0}},
                {2, {0, 2, 'W', "", "", {}, 0}},
                {1, {0, 3, 'T', "Obj", "x=3", {}, 0}},
                {0, {12, 4, 'E', "", "last", {}, 0}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected.sequence);
        EXPECT_EQ(qvGetLog(node), row.nLeft);
        EXPECT_EQ(node.sequence, row.expected.sequence);
        EXPECT_EQ(node.code, row.expected.code);
        EXPECT_EQ(node.level, row.expected.level);
        EXPECT_EQ(node.module, row.expected.module);
        EXPECT_EQ(node.text, row.expected.text);
        EXPECT_EQ(node.task, vdxGetCurrentTaskId());
        EXPECT_EQ(node.time.wYear, before.wYear);
    }
    EXPECT_EQ(qvGetLog(node), -1);
}

TEST(QVLog, AListHandedInAgainIsFreed) {
    std::list<TraceNode*> records;  // The leak checker tells whether it was.
    for (int i = 0; i < 3; ++i)
        qvTrace('I', "m", "a text that is too long for the string object itself", i);
    EXPECT_EQ(qvGetLog(records, 0), 3);
    EXPECT_EQ(records.front()->code, 0);
    EXPECT_EQ(records.back()->code, 2);
    qvTrace('I', "m", "next", 3);
    EXPECT_EQ(qvGetLog(records, 0), 1);
    EXPECT_EQ(records.front()->code, 3);
    EXPECT_EQ(qvGetLog(records, -1), 0);
    EXPECT_TRUE(records.empty());
}

TEST(QVLog, WaitsInMicrosecondsForARecord) {
    using Clock = std::chrono::steady_clock;
    std::list<TraceNode*> records;
    const auto start = Clock::now();
    EXPECT_EQ(qvGetLog(records, 30'000), 0);
    const auto waited = Clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(30));
    EXPECT_LT(waited, std::chrono::seconds(10));

    std::thread writer([] {
        vdxSleep(30);
        qvTrace('N', "m", "arrived", 0);
    });
    EXPECT_EQ(qvGetLog(records, 60'000'000), 1);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(30));
    writer.join();
    freeAll(records);
}

TEST(QVLog, ManyThreadsLoseNothing) {
    constexpr int THREADS = 4, RECORDS = 5000;
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < RECORDS; ++n)
                qvTrace('D', std::to_string(i), "text", n);
        });
    }
    std::map<std::string, int> next;
    std::uint64_t nLast = 0;
    int nTotal = 0;
    std::list<TraceNode*> records;
    while (nTotal < THREADS * RECORDS) {
        nTotal += qvGetLog(records, 1'000'000);
        for (const TraceNode* pRecord : records) {
            if (nLast == 0) nLast = pRecord->sequence - 1;
            EXPECT_EQ(pRecord->sequence, ++nLast);
            EXPECT_EQ(pRecord->code, next[pRecord->module]++);
        }
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(nTotal, THREADS * RECORDS);
    freeAll(records);
}

TEST(QVLog, ForkWhileAnotherThreadLogs) {
    const int nBad = vdxtest::forkWhileBusy(
        30, [] { qvTrace('D', "m", "text", 0); },
        [] {
            qvTrace('D', "child", "text", 0);
            return true;
        });
    EXPECT_EQ(nBad, 0);
    std::list<TraceNode*> records;
    qvGetLog(records, 0);
    freeAll(records);
}

TEST(QVLog, AForkedChildForgetsTheWaitersOfItsParent) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer starts no thread after such a fork";
#endif
    std::thread waiter([] {
        std::list<TraceNode*> records;
        qvGetLog(records, 1'000'000);
        freeAll(records);
    });
    vdxSleep(50);
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(20);
        std::list<TraceNode*> records;
        std::thread writer([] {
            vdxSleep(50);
            qvTrace('D', "child", "text", 0);
        });
        _exit(qvGetLog(records, 60'000'000) == 1 ? 0 : 1);  // Or the alarm comes first.
    }
    int nStatus = -1;
    waitpid(pid, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
    waiter.join();
}

TEST(QVLog, DebugOutputGoesToTheSystemLogToo) {
    TraceNode node;
    qvTrace('I', "m", "before", 0);
    EXPECT_TRUE(takeSystemLog().empty());
    qvEnableDebugOutput();
    errno = EAGAIN;
    qvTrace('I', "m", "100%s", 0);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(takeSystemLog(), std::vector<std::string>{"100%s"});
    EXPECT_EQ(qvGetLog(node), 1);
    iLog("%d items", 3);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(takeSystemLog(), std::vector<std::string>{"3 items"});
}

TEST(ModuleLog, LinesGoToTheSinkThatIsSet) {
    using vdx::ModuleLogLevel;
    SpdLog_ModuleTrace(ModuleLogLevel::Info, "Net", "%s is up", "eth0");
    EXPECT_EQ(takeSystemLog(), std::vector<std::string>{"[Net] eth0 is up"});

    std::vector<std::string> lines;
    vdxSetModuleLogSink(
        [](int nLevel, const char* szModule, const char* szText, void* pContext) {
            static_cast<std::vector<std::string>*>(pContext)->push_back(
                std::string(vdxModuleLogLevelName(nLevel)) + '|' + szModule + '|' + szText);
        },
        &lines);
    SpdLog_ModuleTrace(ModuleLogLevel::Critical, "Net", "%d%%", 5);
    SpdLog_ModuleTrace(ModuleLogLevel::Off, "Net", "nothing");
    EXPECT_EQ(lines, std::vector<std::string>{"critical|Net|5%"});
    EXPECT_TRUE(takeSystemLog().empty());

    vdxSetModuleLogSink(nullptr, nullptr);
    SpdLog_ModuleTrace(ModuleLogLevel::Trace, "", "again");
    EXPECT_EQ(takeSystemLog(), std::vector<std::string>{"[] again"});
}

TEST(ModuleLog, LevelNames) {
    const std::array<std::string, 9> names = {"off",   "trace",    "debug", "info", "warning",
                                              "error", "critical", "off",   "off"};
    for (int nLevel = -1; nLevel <= 7; ++nLevel)
        EXPECT_EQ(vdxModuleLogLevelName(nLevel), names[static_cast<std::size_t>(nLevel + 1)]);
}

}  // namespace
