// Platform primitives.
#include <vdx/platform.h>

#include <dirent.h>
#include <sys/select.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <vdx/locks.h>
#include <vdx/time.h>
#include <vdx/trace.h>

#include "base/platform_port.h"

namespace {

constexpr std::size_t DIRECTORY_BUFFER = 256;

// The task id is a system call: each thread keeps its own. In a forked child only
// the forking thread lives on, under a new number.
[[gnu::tls_model("initial-exec")]] thread_local std::uint32_t t_nTaskId = 0;

[[maybe_unused]] const int s_nRegistered = pthread_atfork(nullptr, nullptr, [] { t_nTaskId = 0; });

std::uint32_t fetchTaskId() {
    t_nTaskId = vdx::port::taskId();
    return t_nTaskId;
}

// Kept lenient: only an answer of exactly -1 says "no such thread", and the probe
// answers with an error number instead.
bool isProbablyAlive(int nId) {
    return !(vdx::port::probeTask(nId) == -1 && errno == ESRCH);
}

int waitInSelect(int nDescriptors, int nMilliseconds) {
    timeval limit{};
    limit.tv_sec = nMilliseconds / 1000;
    limit.tv_usec = (nMilliseconds % 1000) * 1000;
    return select(nDescriptors, nullptr, nullptr, nullptr, &limit);
}

int addInterlocked(int& nValue, unsigned int nDelta) {
    const chReentrantGuard guard(getStaticObjectCritical());
    nValue = static_cast<int>(static_cast<unsigned int>(nValue) + nDelta);
    return nValue;
}

// strerror_r has two forms; each overload turns its result into the text.
[[maybe_unused]] const char* errorText(const char* szResult, const char*) {
    return szResult;
}
[[maybe_unused]] const char* errorText(int, const char* szBuffer) {
    return szBuffer;
}

}  // namespace

int vdxGetCurrentProcessId() {
    return getpid();
}

std::uint64_t vdxGetCurrentThreadId() {
    return (std::uint64_t)pthread_self();
}

std::uint32_t vdxGetCurrentTaskId() {
    return t_nTaskId != 0 ? t_nTaskId : fetchTaskId();
}

bool vdxIsValidThreadID(pthread_t) {
    return true;
}

bool vdxIsValidTaskID(int nId) {
    return nId != 0 && isProbablyAlive(nId);
}

bool vdxIsValidProcessID(int nId) {
    return isProbablyAlive(nId);
}

std::uint64_t vdxGetTickCount() {
    return chTimer::GetTimeFromBoot_ms();
}

std::uint64_t vdxGetCPUTickCount() {
    return 0;
}

int vdxSleep(int nMilliseconds) {
    return waitInSelect(0, nMilliseconds);
}

int vdxDelay(int nMilliseconds) {
    return waitInSelect(1024, nMilliseconds);
}

int vdxSwitchToThread() {
    return usleep(10);
}

std::uint32_t vdxGetLastError() {
    return static_cast<std::uint32_t>(errno);
}

std::string vdxTransLastError() {
    return vdxTransLastError(static_cast<unsigned int>(errno));
}

std::string vdxTransLastError(unsigned int nCode) {
    char buffer[128] = "";
    return errorText(strerror_r(static_cast<int>(nCode), buffer, sizeof buffer), buffer);
}

int vdxInterlockedIncrement(int& nValue) {
    return addInterlocked(nValue, 1U);
}

int vdxInterlockedDecrement(int& nValue) {
    return addInterlocked(nValue, ~0U);
}

std::string vdxGetExeFileName() {
    char buffer[DIRECTORY_BUFFER] = "";
    if (readlink("/proc/self/exe", buffer, sizeof buffer) < 0) return {};
    buffer[sizeof buffer - 1] = 0;
    return buffer;
}

std::string vdxGetCurrentDirectory() {
    char buffer[DIRECTORY_BUFFER] = "";
    return getcwd(buffer, sizeof buffer) ? buffer : std::string();
}

std::string vdxGetHomeDirectory() {
    const char* szHome = std::getenv("HOME");
    return szHome ? szHome : std::string();
}

std::string vdxGetTempDirectory() {
    return "/tmp";
}

void vdxAbort() {
    vdxSleep(300);
    std::raise(SIGABRT);
    _exit(6);
}

void vdxHookCrashSignal() {}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is public.
int KillProcessAppByName(std::string) {
    return 0;
}

int getFdCounts() {
    const int nTask = static_cast<int>(vdxGetCurrentTaskId());
    char szPath[100];
    std::snprintf(szPath, sizeof szPath, "/proc/%d/fd", nTask);
    DIR* pFolder = opendir(szPath);
    if (!pFolder) {
        vdxTrace(7, "getFdCounts: current fds: open failed! current task:[%d] [%s][%d]\n", nTask, szPath,
                 errno);
        return 0;
    }
    int nEntries = 0;
    while (readdir(pFolder))
        ++nEntries;
    vdxTrace(7, "getFdCounts: current task:[%d] fds:%d\n", nTask, nEntries);
    closedir(pFolder);
    return 0;
}
