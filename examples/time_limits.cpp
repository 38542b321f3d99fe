// Time limits, a counter that two threads share under a lock, and what the system says about a failure.
#include <cstdio>
#include <string>
#include <thread>

#include <vdx/locks.h>
#include <vdx/platform.h>
#include <vdx/time.h>
#include <vdx/warnings.h>

namespace {

constexpr int ROUNDS = 50000;

chCriticalSection lock;  // Guards the number below.
int nShared = 0;

void count() {
    for (int i = 0; i < ROUNDS; ++i) {
        lock.Lock();
        ++nShared;
        lock.Unlock();
    }
}

bool ready() {
    lock.Lock();
    const bool bReady = nShared == 2 * ROUNDS;
    lock.Unlock();
    return bReady;
}

// Fails: there is no such file.
bool work() {
    std::FILE* pFile = std::fopen("/there/is/no/such/file", "r");
    return pFile != nullptr && std::fclose(pFile) == 0;
}

}  // namespace

int main() {
    std::thread first(count);
    std::thread second(count);
    chTimeout limit(10000);
    while (!limit.IsTimeout() && !ready())
        vdxSleep(10);
    first.join();
    second.join();

    std::uint64_t nStart = vdxGetTickCount();
    if (!work()) vdxOutputWarningString("work: %s", vdxTransLastError().c_str());
    vdxOutputDebugString("%llu ms", (unsigned long long)(vdxGetTickCount() - nStart));

    std::string day = chTime::getSystemTime().Format("%Y-%m-%d");
    vdxOutputDebugString("%s: counted to %d", day.c_str(), nShared);
    return nShared == 2 * ROUNDS && day.size() == 10 ? 0 : 1;
}
