// A thread collects the trace lines of all others from the shared queue.
#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <vdx/platform.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>

namespace {

constexpr int WORKERS = 3;
constexpr int LINES = 2000;

// A text is a line, or many: those that had to make room come first and at once, after
// a line that says how many bytes they are.
std::size_t countLines(const std::string& text) {
    std::size_t nEnds = 0;
    for (const char c : text)
        nEnds += c == '\n';
    return nEnds == 0 ? 1 : nEnds - 1;
}

}  // namespace

int main() {
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    pHelper->RedirectToShareMemory();

    std::atomic<bool> bDone{false};
    std::size_t nCollected = 0;
    std::thread collector([&] {
        std::string text;
        for (;;) {
            const bool bLast = bDone;
            while (pHelper->ReadShareMemoryString(text))
                nCollected += countLines(text);
            if (bLast) break;
            vdxSleep(5);
        }
    });

    std::vector<std::thread> workers;
    for (int i = 0; i < WORKERS; ++i) {
        workers.emplace_back([i] {
            for (int n = 0; n < LINES; ++n)
                vdxModuleTrace(6, "D:Work", "worker %d, item %d", i, n);
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    bDone = true;
    collector.join();

    pHelper->RedirectToConsole();
    vdxTrace(6, "%zu lines collected", nCollected);
    return nCollected == std::size_t{WORKERS} * LINES ? 0 : 1;
}
