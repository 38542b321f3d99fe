// Levels and outputs of the process's trace lines.
#include <vdx/trace_helper.h>

#include <cstdlib>
#include <new>

#include <vdx/platform.h>

#include "base/errno_saver.h"
#include "base/fork_hooks.h"
#include "base/relax.h"
#include "base/singleton.h"
#include "ipc/segment.h"
#include "siblings/qvstl/format.h"
#include "trace/console.h"
#include "trace/line_prefix.h"
#include "trace/trace_block.h"
#include "trace/trace_output.h"
#include "trace/trace_state.h"

namespace vdx {

constinit TraceState g_traceState;
thread_local int TraceNesting::s_nDepth = 0;

std::uint32_t selectOutput(chTraceOption& option) {
    const std::uint32_t nCurrent = g_traceState.nOutput.load(std::memory_order_relaxed);
    const std::uint32_t nMethod = effectiveMethod(option);
    if (nMethod == nCurrent || nMethod > chTraceOption::METHOD_SHARE) return nCurrent;
    g_traceState.nOutput.store(nMethod, std::memory_order_relaxed);
    return nMethod;
}

}  // namespace vdx

using vdx::g_traceState;

namespace {

constexpr const char* BLOCK_NAME = "ipc_system_trace";

// Everything passes, to the console: what holds without a block, at the end of the
// process, and for traces from inside the helper.
constexpr chTraceOption ALL_TO_CONSOLE{0x7FFFFFFF, chTraceOption::METHOD_CONSOLE};
constinit chTraceOption s_fallback = ALL_TO_CONSOLE;
constinit chTraceOption s_localDefault = ALL_TO_CONSOLE;
constinit chTraceOption s_localProcess{chTraceOption::UNSET_LEVEL, chTraceOption::UNSET_METHOD};

}  // namespace

[[gnu::cold]] chTraceOption& vdx::makeProcessOption() {
    const ErrnoSaver saver;
    try {
        return *uCTraceHelper::getInstance()->GetProcessTraceOption();
    } catch (const std::bad_alloc&) {
        return s_fallback;
    }
}

struct uCTraceHelper::Private {
    vdx::OverflowText overflow;
    chReentrantCritical lock;  // In place of the mutex, where that could not be had.
};

// The mutex for the length of a scope, with errno and nesting looked after.
class uCTraceHelper::Guard {
public:
    explicit Guard(uCTraceHelper& helper) : m_helper(helper) {
        // A line is written in about a microsecond, a sleep and its end cost several.
        for (int i = 0; i < 100 && s_bBusy.load(std::memory_order_relaxed); ++i)
            vdx::relaxProcessor();
        m_helper.enter();
        s_bBusy.store(true, std::memory_order_relaxed);
    }
    ~Guard() {
        s_bBusy.store(false, std::memory_order_relaxed);
        m_helper.leave();
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    static constinit inline std::atomic<bool> s_bBusy{false};  // A hint: the mutex decides.

    const vdx::ErrnoSaver m_errno;
    const vdx::TraceNesting m_nesting{vdx::TraceNesting::INSIDE};
    uCTraceHelper& m_helper;
};

void uCTraceHelper::enter() {
    if (m_pBlock) {
        Lock(-1);
    } else {
        m_pPrivate->lock.Enter();
    }
}

void uCTraceHelper::leave() {
    if (m_pBlock) {
        Unlock();
    } else {
        m_pPrivate->lock.Leave();
    }
}

uCTraceHelper* uCTraceHelper::getInstance() {
    void* pFound = vdx::Singleton<uCTraceHelper>::findInstance();
    if (pFound) return static_cast<uCTraceHelper*>(pFound);
    const vdx::ErrnoSaver saver;
    return &vdx::Singleton<uCTraceHelper>::getInstance();
}

uCTraceHelper::uCTraceHelper() : m_pPrivate(new Private) {
    m_pBlock = vdx::openSegment<chSystemTracerManager>(*this, m_mapFile, BLOCK_NAME);
    if (m_pBlock) m_pBlock->header().AssertHeader(BLOCK_NAME, sizeof *m_pBlock, ipcObjectHeader::TYPE_TRACE);
    g_traceState.pDefault = m_pBlock ? &m_pBlock->defaultOption() : &s_localDefault;
    vdx::setForkHooks(vdx::ForkOrder::Trace, {lockForFork, unlockInParent, unlockInChild});
    vdxHookCrashSignal();
}

// Nothing is torn down: threads may be inside, and static objects may trace later.
void uCTraceHelper::OnProcessExit() {
    g_traceState.pProcess = &s_fallback;
}

// --- Fork -------------------------------------------------------------------

void uCTraceHelper::lockForFork() {
    getInstance()->enter();
}

void uCTraceHelper::unlockInParent() {
    getInstance()->leave();
}

void uCTraceHelper::unlockInChild() {
    // The parent's pair is not the child's.
    if (g_traceState.pProcess.load() != &s_fallback) g_traceState.pProcess = nullptr;
    getInstance()->leave();
}

// --- Options ----------------------------------------------------------------

chTraceOption* uCTraceHelper::GetProcessTraceOption() {
    chTraceOption* pOption = g_traceState.pProcess.load(std::memory_order_acquire);
    if (!pOption) pOption = makeProcessOption();
    vdx::selectOutput(*pOption);
    return pOption;
}

chTraceOption* uCTraceHelper::makeProcessOption() try {
    if (vdx::TraceNesting::depth() != vdx::TraceNesting::OUTSIDE) return &s_fallback;
    const Guard guard(*this);
    chTraceOption* pOption = g_traceState.pProcess.load(std::memory_order_relaxed);
    if (pOption) return pOption;
    if (m_pBlock) pOption = m_pBlock->resetProcess(vdxGetCurrentProcessId(), m_pPrivate->overflow);
    if (!pOption) pOption = &s_localProcess;
    // Before it is seen: no line passes by an option that is half applied.
    vdx::applyTraceOption(std::getenv("trace"), *pOption, &m_file);
    g_traceState.pProcess.store(pOption, std::memory_order_release);
    return pOption;
} catch (const std::bad_alloc&) {
    return &s_fallback;  // Until there is memory.
}

int uCTraceHelper::GetOutputLevel() {
    return vdx::effectiveLevel(*GetProcessTraceOption());
}

std::uint32_t uCTraceHelper::GetOutputMethod() {
    return vdx::effectiveMethod(*GetProcessTraceOption());
}

bool uCTraceHelper::ResetTraceLevel(int nLevel) {
    chTraceOption* pOption = GetProcessTraceOption();
    if (pOption == &s_fallback) return true;
    const Guard guard(*this);
    vdx::storeLevel(*pOption, nLevel);
    return true;
}

bool uCTraceHelper::setMethod(std::uint32_t nMethod) {
    chTraceOption* pOption = GetProcessTraceOption();
    if (pOption == &s_fallback) return true;
    const Guard guard(*this);
    vdx::storeMethod(*pOption, nMethod);
    vdx::selectOutput(*pOption);
    return true;
}

bool uCTraceHelper::RedirectToConsole() {
    return setMethod(chTraceOption::METHOD_CONSOLE);
}

bool uCTraceHelper::RedirectToShareMemory() {
    return setMethod(chTraceOption::METHOD_SHARE);
}

bool uCTraceHelper::RedirectToNull() {
    return setMethod(chTraceOption::METHOD_NULL);
}

bool uCTraceHelper::RedirectToFileTrace(const std::string& name, int nSizeKiB, int nCount) {
    if (GetProcessTraceOption() == &s_fallback) return true;
    const Guard guard(*this);  // No line goes to the file that was open before.
    setMethod(chTraceOption::METHOD_FILE);
    return m_file.OpenFileTrace(name, nSizeKiB, nCount);
}

// --- Outputs ----------------------------------------------------------------

void uCTraceHelper::TraceOutString(const char* szModule, const std::string& text) {
    vdx::traceText(vdx::ANY_LEVEL, szModule, text);
}

bool uCTraceHelper::TraceConstString(const std::string& text) {
    return vdx::traceUnchanged(text);
}

bool uCTraceHelper::TraceToConsole(const std::string& line) {
    const vdx::TraceNesting nesting(vdx::TraceNesting::INSIDE);
    vdx::writeConsoleLine(stdout, line);
    return true;
}

bool uCTraceHelper::TraceToFileTrace(const std::string& line) {
    return writeToFile(line);
}

bool uCTraceHelper::TraceToShareMemory(const std::string& line) {
    return writeToShareMemory(line);
}

bool uCTraceHelper::writeToFile(std::string_view line) {
    const Guard guard(*this);
    m_file.writeLine(line);
    return true;
}

bool uCTraceHelper::writeToShareMemory(std::string_view line) try {
    const Guard guard(*this);
    return m_pBlock && m_pBlock->queueLine(line, m_pPrivate->overflow);
} catch (const std::bad_alloc&) {
    return false;
}

// Without memory for the text it stays in the block.
bool uCTraceHelper::ReadShareMemoryString(std::string& out) try {
    const Guard guard(*this);
    if (!m_pBlock) return false;
    const std::uint64_t nMoved = m_pBlock->overflowBytes();
    if (nMoved == 0) return m_pBlock->takeLine(out);
    qv::text_buffer head;
    vdx::appendLinePrefix(head, "M:TraceHelper");
    qv::append_format(head, "Write %d bytes first.\n", static_cast<int>(nMoved));
    out = head.view();
    m_pBlock->takeOverflow(out, m_pPrivate->overflow);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

// --- Nesting of scopes ------------------------------------------------------

// Without memory for its entry a thread's scopes are not indented.
std::uint32_t uCTraceHelper::push_trace_level() try {
    const std::uint32_t idTask = vdxGetCurrentTaskId();
    const Guard guard(*this);
    if (m_depths.try_emplace(idTask, 0).second) {
        ClearGhostTracerLevel();
        m_depths[idTask] = 0;
    }
    return m_depths[idTask]++;
} catch (const std::bad_alloc&) {
    return 0;
}

std::uint32_t uCTraceHelper::pop_trace_level() try {
    const std::uint32_t idTask = vdxGetCurrentTaskId();
    const Guard guard(*this);
    return --m_depths[idTask];
} catch (const std::bad_alloc&) {
    return 0;
}

void uCTraceHelper::ClearGhostTracerLevel() {
    const Guard guard(*this);
    std::erase_if(m_depths,
                  [](const auto& entry) { return !vdxIsValidTaskID(static_cast<int>(entry.first)); });
}
