// Trace lines against spdlog: its synchronous sinks, flushed after every line, with a
// prefix of the same fields.
#include <fcntl.h>
#include <unistd.h>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <vdx/file_trace.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>

#include "support/ratio.h"
#include "support/temp_dir.h"

namespace {

constexpr int SIZE_KIB = 400;
constexpr int FILES = 5;

// A directory for the length of the program.
const std::string& folder() {
    static const TempDir s_folder;
    return s_folder.path();
}

// Standard output goes nowhere for the length of a measurement.
class SilentConsole {
public:
    void begin() {
        std::fflush(stdout);
        m_nStdout = dup(1);
        const int nNull = open("/dev/null", O_WRONLY);
        dup2(nNull, 1);
        close(nNull);
    }
    void end() {
        std::fflush(stdout);
        dup2(m_nStdout, 1);
        close(m_nStdout);
    }

private:
    int m_nStdout = -1;
};
SilentConsole g_console;

void silence(const benchmark::State&) {
    g_console.begin();
}
void unsilence(const benchmark::State&) {
    g_console.end();
}

template <class Sink, class... Args>
std::shared_ptr<spdlog::logger> makeLogger(const char* szPattern, Args... args) {
    auto pLogger = std::make_shared<spdlog::logger>("D:Who?", std::make_shared<Sink>(args...));
    pLogger->set_pattern(szPattern);
    pLogger->flush_on(spdlog::level::trace);
    return pLogger;
}

constexpr const char* PREFIX = "[%n+%P:%t] %m-%d %H:%M:%S.%e %E.%f %v";

// --- Suppressed messages ----------------------------------------------------

void BM_Suppressed_vdx(benchmark::State& state) {
    uCTraceHelper::getInstance()->ResetTraceLevel(3);
    int nBytes = 0;
    for (auto _ : state)
        vdxTrace(7, "read %d bytes from %s", ++nBytes, "socket");
}
BENCHMARK(BM_Suppressed_vdx);

void BM_Suppressed_spdlog(benchmark::State& state) {
    spdlog::set_level(spdlog::level::err);
    int nBytes = 0;
    for (auto _ : state)
        spdlog::debug("read {} bytes from {}", ++nBytes, "socket");
}
BENCHMARK(BM_Suppressed_spdlog);
VDX_FIGURE("Suppressed message", "BM_Suppressed_vdx", {"BM_Suppressed_spdlog"}, 3.0);

// --- Console ----------------------------------------------------------------

void BM_Console_vdx(benchmark::State& state) {
    if (state.thread_index() == 0) {
        uCTraceHelper::getInstance()->ResetTraceLevel(9);
        uCTraceHelper::getInstance()->RedirectToConsole();
    }
    int nBytes = 0;
    for (auto _ : state)
        vdxTrace(7, "read %d bytes from %s", ++nBytes, "socket");
}
BENCHMARK(BM_Console_vdx)->ThreadRange(1, 2)->MeasureProcessCPUTime()->Setup(silence)->Teardown(unsilence);

void BM_Console_spdlog(benchmark::State& state) {
    static const auto s_pLogger = makeLogger<spdlog::sinks::stdout_sink_mt>(PREFIX);
    int nBytes = 0;
    for (auto _ : state)
        s_pLogger->info("read {} bytes from {}", ++nBytes, "socket");
}
BENCHMARK(BM_Console_spdlog)->ThreadRange(1, 2)->MeasureProcessCPUTime()->Setup(silence)->Teardown(unsilence);
VDX_FIGURE("Line to the console (/dev/null)", "BM_Console_vdx/process_time/threads:1",
           {"BM_Console_spdlog/process_time/threads:1"}, 2.0);
VDX_FIGURE("Line to the console, two threads", "BM_Console_vdx/process_time/threads:2",
           {"BM_Console_spdlog/process_time/threads:2"}, 2.0);

// --- Rotating file ----------------------------------------------------------

void BM_File_vdx(benchmark::State& state) {
    if (state.thread_index() == 0) {
        uCTraceHelper::getInstance()->ResetTraceLevel(9);
        uCTraceHelper::getInstance()->RedirectToFileTrace(folder() + "/ours", SIZE_KIB, FILES);
    }
    int nBytes = 0;
    for (auto _ : state)
        vdxTrace(7, "read %d bytes from %s", ++nBytes, "socket");
}
BENCHMARK(BM_File_vdx)->ThreadRange(1, 2)->MeasureProcessCPUTime();

void BM_File_spdlog(benchmark::State& state) {
    static const auto s_pLogger = makeLogger<spdlog::sinks::rotating_file_sink_mt>(
        PREFIX, folder() + "/peer.log", std::size_t{SIZE_KIB} * 1024, std::size_t{FILES});
    int nBytes = 0;
    for (auto _ : state)
        s_pLogger->info("read {} bytes from {}", ++nBytes, "socket");
}
BENCHMARK(BM_File_spdlog)->ThreadRange(1, 2)->MeasureProcessCPUTime();
VDX_FIGURE("Line to a rotating file, flushed", "BM_File_vdx/process_time/threads:1",
           {"BM_File_spdlog/process_time/threads:1"}, 1.6);
VDX_FIGURE("Line to a rotating file, flushed, two threads", "BM_File_vdx/process_time/threads:2",
           {"BM_File_spdlog/process_time/threads:2"}, 1.6);

// --- Queue ------------------------------------------------------------------

std::string queuedLine() {
    return std::string(100, 'x');
}

void BM_Queue_vdx(benchmark::State& state) {
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    const std::string line = queuedLine();
    std::string out;
    while (pHelper->ReadShareMemoryString(out)) {
    }
    for (auto _ : state) {
        pHelper->TraceToShareMemory(line);
        pHelper->ReadShareMemoryString(out);
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_Queue_vdx);

void BM_Queue_deque(benchmark::State& state) {
    std::mutex mutex;
    std::deque<std::string> queue;
    const std::string line = queuedLine();
    std::string out;
    for (auto _ : state) {
        {
            const std::lock_guard guard(mutex);
            queue.push_back(line);
        }
        const std::lock_guard guard(mutex);
        out = std::move(queue.front());
        queue.pop_front();
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_Queue_deque);
VDX_FIGURE("Line into the shared queue and out", "BM_Queue_vdx", {"BM_Queue_deque"}, 0.5);

// A full queue: each line moves old ones aside; what was moved is read now and then.
// Filler lines of the given length make the queue hold few lines or many.
void BM_FullQueue(benchmark::State& state) {
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    std::string out;
    while (pHelper->ReadShareMemoryString(out)) {
    }
    const std::string line(static_cast<std::size_t>(state.range(0)), 'x');
    for (std::size_t i = 0; i < 0x200000 / line.size() + 1; ++i)
        pHelper->TraceToShareMemory(line);
    int nLines = 0;
    for (auto _ : state) {
        pHelper->TraceToShareMemory(line);
        if (++nLines % 1024 == 0) pHelper->ReadShareMemoryString(out);
    }
}
BENCHMARK(BM_FullQueue)->Arg(60)->Arg(600);
VDX_FIGURE("Line in a full queue: 24 000 lines against 3300 longer ones", "BM_FullQueue/60",
           {"BM_FullQueue/600"}, 0.8);

// --- The file alone ---------------------------------------------------------

void BM_FileLine_vdx(benchmark::State& state) {
    chFileTrace log;
    log.OpenFileTrace(folder() + "/line", SIZE_KIB, FILES);
    const std::string line = queuedLine();
    for (auto _ : state)
        log.WriteLogLine(line);
}
BENCHMARK(BM_FileLine_vdx);

void BM_FileLine_spdlog(benchmark::State& state) {
    static const auto s_pLogger = makeLogger<spdlog::sinks::rotating_file_sink_st>(
        "%v", folder() + "/line_peer.log", std::size_t{SIZE_KIB} * 1024, std::size_t{FILES});
    const std::string line = queuedLine();
    for (auto _ : state)
        s_pLogger->info(line);
}
BENCHMARK(BM_FileLine_spdlog);
VDX_FIGURE("Finished line to a rotating file, no prefix", "BM_FileLine_vdx", {"BM_FileLine_spdlog"}, 1.2);

}  // namespace
