// The queue of log records against a mutex and a list of the same records.
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <ctime>
#include <list>
#include <mutex>
#include <string>

#include <benchmark/benchmark.h>

#include <vdx/log.h>

#include "support/ratio.h"

namespace {

const std::string MODULE = "Relay";
const std::string TEXT = "client 17 lost after 400 packets";

void BM_LogRecord_vdx(benchmark::State& state) {
    TraceNode node;
    for (auto _ : state) {
        qvTrace('I', MODULE, TEXT, 3);
        qvGetLog(node);
        benchmark::DoNotOptimize(node);
    }
}
BENCHMARK(BM_LogRecord_vdx);

// Fills in the same fields with the system's calls.
void fill(TraceNode& node) {
    node.code = 3;
    node.level = 'I';
    node.module = MODULE;
    node.text = TEXT;
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const auto field = [](long n) { return static_cast<std::uint16_t>(n); };
    node.time = {field(local.tm_year + 1900), field(local.tm_mon + 1),  field(local.tm_wday),
                 field(local.tm_mday),        field(local.tm_hour),     field(local.tm_min),
                 field(local.tm_sec),         field(now.tv_usec / 1000)};
    node.task = static_cast<std::uint32_t>(syscall(SYS_gettid));
}

void BM_LogRecord_list(benchmark::State& state) {
    std::mutex mutex;
    std::list<TraceNode> queue;
    std::uint64_t nLast = 0;
    TraceNode node;
    for (auto _ : state) {
        TraceNode record;
        fill(record);
        {
            const std::lock_guard guard(mutex);
            record.sequence = ++nLast;
            queue.push_back(std::move(record));
        }
        const std::lock_guard guard(mutex);
        node = std::move(queue.front());
        queue.pop_front();
        benchmark::DoNotOptimize(node);
    }
}
BENCHMARK(BM_LogRecord_list);
VDX_FIGURE("Log record in and out", "BM_LogRecord_vdx", {"BM_LogRecord_list"}, 2.0);

}  // namespace
