// What the level test of every trace call looks at.
#pragma once

#include <atomic>

#include <vdx/trace_helper.h>

namespace vdx {

// Option pairs lie in the trace block and change under the trace mutex; they are read
// without it. Null: not made yet.
struct TraceState {
    std::atomic<chTraceOption*> pProcess{nullptr};
    std::atomic<chTraceOption*> pDefault{nullptr};
    std::atomic<std::uint32_t> nOutput{chTraceOption::METHOD_NULL};  // The method selected last.
};
extern constinit TraceState g_traceState;

// Fields of a pair as the atomics that they are between threads.
inline std::int32_t loadLevel(chTraceOption& option) {
    return std::atomic_ref<std::int32_t>(option.level).load(std::memory_order_relaxed);
}
inline std::uint32_t loadMethod(chTraceOption& option) {
    return std::atomic_ref<std::uint32_t>(option.method).load(std::memory_order_relaxed);
}
inline void storeLevel(chTraceOption& option, std::int32_t nLevel) {
    std::atomic_ref<std::int32_t>(option.level).store(nLevel, std::memory_order_relaxed);
}
inline void storeMethod(chTraceOption& option, std::uint32_t nMethod) {
    std::atomic_ref<std::uint32_t>(option.method).store(nMethod, std::memory_order_relaxed);
}

// The effective values for a process with this pair. The default exists when a pair does.
inline std::int32_t effectiveLevel(chTraceOption& option) {
    const std::int32_t nLevel = loadLevel(option);
    if (nLevel != chTraceOption::UNSET_LEVEL) [[likely]]
        return nLevel;
    return loadLevel(*g_traceState.pDefault.load(std::memory_order_relaxed));
}
inline std::uint32_t effectiveMethod(chTraceOption& option) {
    const std::uint32_t nMethod = loadMethod(option);
    if (nMethod != chTraceOption::UNSET_METHOD) return nMethod;
    return loadMethod(*g_traceState.pDefault.load(std::memory_order_relaxed));
}

// Selects the output of the pair's effective method, which is its result; an unknown method leaves the one
// that was selected before.
std::uint32_t selectOutput(chTraceOption& option);

// Says what the calling thread is doing in the tracing code, for the length of a scope.
// Traces that come from there (from an allocation, say) must neither wait for it nor
// start it again.
class TraceNesting {
public:
    enum Depth : int { OUTSIDE, INSIDE, INSIDE_TWICE };

    // What the thread does now.
    static int depth() { return s_nDepth; }

    explicit TraceNesting(int nDepth) : m_nBefore(s_nDepth) {
        if (nDepth > s_nDepth) s_nDepth = nDepth;
    }
    ~TraceNesting() { s_nDepth = m_nBefore; }
    TraceNesting(const TraceNesting&) = delete;
    TraceNesting& operator=(const TraceNesting&) = delete;

private:
    [[gnu::tls_model("initial-exec")]] static thread_local int s_nDepth;
    const int m_nBefore;
};

// Applies the text of the variable "trace" or "systrace" to a pair. A file trace, if
// given, is opened by the method "log". Null and empty texts change nothing.
void applyTraceOption(const char* szText, chTraceOption& option, chFileTrace* pFile);

}  // namespace vdx
