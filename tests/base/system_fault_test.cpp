// What happens when the system refuses, and what it is asked for: its calls are replaced.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <vdx/directories.h>
#include <vdx/locks.h>
#include <vdx/named_object.h>
#include <vdx/node_alloc.h>
#include <vdx/platform.h>
#include <vdx/time.h>
#include <vdx/trace_helper.h>

#include "support/child.h"

using vdxtest::runInChild;

namespace {

// What the replaced calls do; each case is a process of its own.
timeval s_clock{};
int s_nClockResult = 0;
bool s_bNoLock = false;
void (*s_pReenter)() = nullptr;
const std::string* s_pLinkTarget = nullptr;

void reenter() {
    if (s_pReenter) s_pReenter();
}

}  // namespace

extern "C" {

int __wrap_settimeofday(const timeval* pTime, const struct timezone*) {
    s_clock = *pTime;
    errno = EPERM;
    return s_nClockResult;
}

int __real_pthread_mutex_lock(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* pMutex) {
    return s_bNoLock ? EINVAL : __real_pthread_mutex_lock(pMutex);
}

ssize_t __real_readlink(const char* szPath, char* pBuffer, std::size_t nSize);
ssize_t __wrap_readlink(const char* szPath, char* pBuffer, std::size_t nSize) {
    if (!s_pLinkTarget) return __real_readlink(szPath, pBuffer, nSize);
    errno = ENOENT;
    return s_pLinkTarget->empty() ? -1 : static_cast<ssize_t>(s_pLinkTarget->copy(pBuffer, nSize));
}

// Both are called while a singleton is constructed.
int __real_pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* pAttributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* pAttributes) {
    reenter();
    return __real_pthread_mutex_init(pMutex, pAttributes);
}
char* __real_getenv(const char* szName);
char* __wrap_getenv(const char* szName) {
    reenter();
    return __real_getenv(szName);
}

}  // extern "C"

TEST(SystemFault, TheClockIsSetToSecondsAndMicroseconds) {
    const chTime time(2024, 2, 29, 13, 45, 7, 89);
    EXPECT_TRUE(chTime::setSystemTime(time));
    EXPECT_EQ(s_clock.tv_sec, 1'709'214'307);
    EXPECT_EQ(s_clock.tv_usec, 89'000);
    EXPECT_TRUE(chTime::setSystemTime(chTime::time1970() - chTime(0, 1)));
    EXPECT_EQ(s_clock.tv_sec, -1);
    EXPECT_EQ(s_clock.tv_usec, 999'000);
    s_nClockResult = -1;
    EXPECT_FALSE(chTime::setSystemTime(time));
}

TEST(SystemFault, ALockThatFailsWarnsWithTheTextOfErrno) {
    const auto result = runInChild([] {
        chCriticalSection lock;
        errno = EDOM;
        s_bNoLock = true;
        const bool bLocked = lock.Lock();
        s_bNoLock = false;
        return bLocked || lock.IsLocked() ? 1 : 0;
    });
    EXPECT_EQ(result.exitCode(), 0);
    EXPECT_TRUE(
        result.err.ends_with(std::string(") pthread_mutex_lock fail:(") + std::strerror(EDOM) + ").\n"))
        << result.err;
}

TEST(SystemFault, TheProgramsNameIsCutOrEmpty) {
    std::string target;
    s_pLinkTarget = &target;
    EXPECT_EQ(vdxGetExeFileName(), "");
    for (const std::size_t nSize : {1u, 254u, 255u, 256u, 300u}) {
        target.assign(nSize, 'e');
        EXPECT_EQ(vdxGetExeFileName(), target.substr(0, 255));
    }
}

TEST(SystemFault, DescriptorsThatCannotBeListedAreTracedToo) {
    const auto result = runInChild([] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        return getFdCounts();
    });
    EXPECT_EQ(result.exitCode(), 0);
    const std::string text = "getFdCounts: current fds: open failed! current task:[";
    const std::size_t nText = result.out.find(text);
    ASSERT_NE(nText, std::string::npos) << result.out;
    const std::string task = std::to_string(std::atoi(result.out.c_str() + nText + text.size()));
    EXPECT_EQ(result.out.substr(nText),
              text + task + "] [/proc/" + task + "/fd][" + std::to_string(EMFILE) + "]\n\n");
}

TEST(SystemFault, EverySingletonNamesItselfWhenItsConstructionComesBack) {
    const struct {
        const char* szName;
        void (*pCreate)();
        bool bToStderr;
    } rows[] = {
        {"uCTraceHelper", [] { uCTraceHelper::getInstance(); }, true},
        {"uCSystemNamedObjectHelper", [] { uCSystemNamedObjectHelper::getInstance(); }, true},
        {"dymicAllocHelper", [] { dymicAllocHelper::getInstance(); }, true},
        {"RootPath", [] { appRootPath(); }, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szName);
        const auto result = runInChild([&] {
            s_pReenter = row.pCreate;
            row.pCreate();
            return 0;
        });
        EXPECT_EQ(result.signal(), SIGABRT);
        EXPECT_EQ(row.bToStderr ? result.err : result.out,
                  std::string("[\x1b[1;31mE:\x1b[00m] re-enter static instance of ") + row.szName + "\n");
    }
}
