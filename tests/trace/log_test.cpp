// The queue of log records, the system log and the module log.
#include <vdx/log.h>

#include <cerrno>
#include <cstdarg>
#include <map>
#include <sstream>

#include "siblings/modulelog/module_log.h"
#include "support/calls.h"
#include "trace/lines.h"

static std::string s_systemLog;

// Takes the place of the system's function (linked with --wrap).
extern "C" void __wrap_syslog(int, const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    s_systemLog += std::string(szFormat) + ": " + va_arg(args, const char*) + '\n';
    va_end(args);
    errno = EPIPE;
}

TEST(QVLog, RecordsComeOutAsTheyWentIn) {
    TraceNode node;
    node.text = "untouched";
    EXPECT_EQ(qvGetLog(node), -1);
    EXPECT_EQ(node.text, "untouched");
    std::list<TraceNode*> none;
    EXPECT_EQ(qvGetLog(none, -1), 0);
    vdxtest::expectMs(30, 10'000, [&] { EXPECT_EQ(qvGetLog(none, 30'000), 0) << "microseconds"; });

    const chLocalTime before;
    qvTrace('E', "Net", "first", 7);
    qvTrace('W', "", "", -5);
    vdxEncryptTrace(9, -1, "Obj", "%s=%d", "x", 3);
    vdxEncryptTrace(3, 12, nullptr, "last");

    std::ostringstream taken;
    for (int nLeft = 3; nLeft >= 0; --nLeft) {
        EXPECT_EQ(qvGetLog(node), nLeft);
        taken << node.sequence << ' ' << node.code << ' ' << node.level << ' ' << node.module << ' '
              << node.text << '\n';
        EXPECT_TRUE(node.task == vdxGetCurrentTaskId() && node.time.wYear == before.wYear);
    }
    EXPECT_EQ(taken.str(), "1 7 E Net first\n2 0 W  \n3 0 T Obj x=3\n4 12 E  last\n");
}

// The list is handed in again each time: the leak checker tells whether its records are freed.
TEST(QVLog, ManyThreadsLoseNothing) {
    constexpr int THREADS = 4, RECORDS = 5000;
    constexpr std::uint64_t ALL = THREADS * RECORDS;
    std::map<std::string, int> next;
    std::uint64_t nLast = 0;
    std::list<TraceNode*> records;
    vdxtest::runTogether(THREADS + 1, [&](int i) {
        for (int n = 0; n < RECORDS && i < THREADS; ++n)
            qvTrace('D', std::to_string(i), "text", n);
        while (i == THREADS && nLast < ALL && qvGetLog(records, 60'000'000) > 0) {
            for (const TraceNode* pRecord : records) {
                EXPECT_EQ(pRecord->sequence, ++nLast);
                EXPECT_EQ(pRecord->code, next[pRecord->module]++);
            }
        }
    });
    EXPECT_EQ(nLast, ALL);
    EXPECT_EQ(qvGetLog(records, 0), 0);
}

TEST(QVLog, ForkWhileAnotherThreadLogs) {
    const auto log = [] {
        qvTrace('D', "m", "text", 0);
        return true;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(30, log, log), 0);
}

TEST(QVLog, AForkedChildForgetsTheWaitersOfItsParent) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer starts no thread after such a fork";
#endif
    const auto waitLong = [] {
        std::list<TraceNode*> records;
        qvGetLog(records, 200'000);
    };
    const auto waitAndWrite = [] {
        std::thread([] {
            vdxSleep(50);
            qvTrace('D', "child", "text", 0);
        }).detach();
        std::list<TraceNode*> records;
        return qvGetLog(records, 60'000'000) == 1;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(4, waitLong, waitAndWrite), 0);
}

TEST(SystemLog, TakesDebugOutputAndModuleLinesUnlessASinkIsSet) {
    qvTrace('I', "m", "before", 0);
    qvEnableDebugOutput();
    errno = EAGAIN;
    qvTrace('I', "m", "100%s", 0);
    iLog("%d items", 3);
    EXPECT_EQ(errno, EAGAIN);

    using vdx::ModuleLogLevel;
    SpdLog_ModuleTrace(ModuleLogLevel::Info, "Net", "%s is up", "eth0");
    std::string lines;
    const auto sink = [](int nLevel, const char* szModule, const char* szText, void* pContext) {
        *static_cast<std::string*>(pContext) +=
            std::string(vdxModuleLogLevelName(nLevel)) + szModule + szText;
    };
    vdxSetModuleLogSink(sink, &lines);
    for (int nLevel = 0; nLevel <= 6; ++nLevel)  // The last is "off".
        SpdLog_ModuleTrace(static_cast<ModuleLogLevel>(nLevel), "|Net|", "%d%%\n", nLevel);
    EXPECT_EQ(lines,
              "trace|Net|0%\ndebug|Net|1%\ninfo|Net|2%\nwarning|Net|3%\nerror|Net|4%\ncritical|Net|5%\n");
    for (const int nLevel : {-1, 6, 7})
        EXPECT_STREQ(vdxModuleLogLevelName(nLevel), "off");
    vdxSetModuleLogSink(nullptr, nullptr);
    SpdLog_ModuleTrace(ModuleLogLevel::Trace, "", "again");
    EXPECT_EQ(s_systemLog, "%s: 100%s\n%s: 3 items\n%s: [Net] eth0 is up\n%s: [] again\n");
}
