// Log records in memory.
#include <vdx/log.h>

#include <chrono>
#include <cstdarg>
#include <limits>
#include <memory>

#include <vdx/platform.h>
#include <vdx/trace.h>

#include "base/errno_saver.h"
#include "base/fork_hooks.h"
#include "base/no_destructor.h"
#include "siblings/modulelog/module_log.h"
#include "siblings/modulelog/system_log.h"
#include "siblings/qvstl/format.h"

namespace {

constinit std::atomic<QVLog*> s_pInstance{nullptr};

int asCount(std::size_t nCount) {
    constexpr std::size_t MAX = std::numeric_limits<int>::max();
    return static_cast<int>(nCount < MAX ? nCount : MAX);
}

}  // namespace

// Threads may log to the very end of the process: never destroyed.
chCriticalSection& QVLog::makeInstanceLock() {
    static vdx::NoDestructor<chCriticalSection> s_lock;
    [[maybe_unused]] static const bool s_bHooked =
        (vdx::setForkHooks(vdx::ForkOrder::LogQueue, {lockForFork, unlockAfterFork, unlockInChild}), true);
    return s_lock.get();
}

// Both locks are taken around a fork, so that the child finds neither of them held
// by a thread that it does not have.
void QVLog::lockForFork() {
    makeInstanceLock().Lock();
    QVLog* pInstance = s_pInstance.load(std::memory_order_relaxed);
    if (pInstance) pInstance->m_mutex.lock();
}

void QVLog::unlockAfterFork() {
    QVLog* pInstance = s_pInstance.load(std::memory_order_relaxed);
    if (pInstance) pInstance->m_mutex.unlock();
    makeInstanceLock().Unlock();
}

// The threads that waited do not exist here; the old condition variable would wake them first.
void QVLog::unlockInChild() {
    QVLog* pInstance = s_pInstance.load(std::memory_order_relaxed);
    if (pInstance) new (&pInstance->m_arrived) std::condition_variable;
    unlockAfterFork();
}

// By a reference, for its maker runs when it is first needed, perhaps before this.
chCriticalSection& QVLog::instanceLock = QVLog::makeInstanceLock();

QVLog::QVLog() = default;

QVLog* QVLog::getInstance() {
    QVLog* pInstance = s_pInstance.load(std::memory_order_acquire);
    if (pInstance) return pInstance;
    // By its maker: static objects elsewhere may log before the reference is set.
    chCriticalSection& lock = makeInstanceLock();
    lock.Lock();
    pInstance = s_pInstance.load(std::memory_order_relaxed);
    if (!pInstance) {
        static vdx::NoDestructor<QVLog> s_log;
        pInstance = &s_log.get();
        s_pInstance.store(pInstance, std::memory_order_release);
    }
    lock.Unlock();
    return pInstance;
}

void QVLog::trace(char level, const std::string& module, const std::string& text, int nCode) try {
    const vdx::ErrnoSaver saver;
    if (m_bDebugOutput.load(std::memory_order_relaxed)) iLog("%s", text.c_str());
    // All that takes time is done before the lock: the record and its list element.
    auto pRecord = std::make_unique<TraceNode>();
    pRecord->code = nCode < 0 ? 0 : nCode;
    pRecord->level = level;
    pRecord->module = module;
    pRecord->text = text;
    vdxGetLocalTime(&pRecord->time);
    pRecord->task = vdxGetCurrentTaskId();
    std::list<TraceNode*> element;
    element.push_back(pRecord.get());
    TraceNode* pQueued = pRecord.release();
    {
        const std::lock_guard guard(m_mutex);
        pQueued->sequence = ++m_nLastSequence;
        m_queue.splice(m_queue.end(), element);
    }
    m_arrived.notify_one();
} catch (const std::bad_alloc&) {
    // The record is lost.
}

int QVLog::getLog(TraceNode& out) {
    std::list<TraceNode*> element;
    std::size_t nLeft = 0;
    {
        const std::lock_guard guard(m_mutex);
        if (m_queue.empty()) return -1;
        element.splice(element.end(), m_queue, m_queue.begin());
        nLeft = m_queue.size();
    }
    const std::unique_ptr<TraceNode> pRecord(element.front());
    out = std::move(*pRecord);
    return asCount(nLeft);
}

int QVLog::getLog(std::list<TraceNode*>& out, int nWait) {
    for (TraceNode* pRecord : out)
        delete pRecord;
    out.clear();
    std::unique_lock lock(m_mutex);
    if (m_queue.empty() && nWait >= 1) {
        m_arrived.wait_for(lock, std::chrono::microseconds(nWait), [this] { return !m_queue.empty(); });
    }
    out.swap(m_queue);
    return asCount(out.size());
}

void QVLog::enableDebugOutput() {
    m_bDebugOutput.store(true, std::memory_order_relaxed);
}

void qvTrace(char level, const std::string& module, const std::string& text, int nCode) {
    QVLog::getInstance()->trace(level, module, text, nCode);
}

int qvGetLog(TraceNode& out) {
    return QVLog::getInstance()->getLog(out);
}

int qvGetLog(std::list<TraceNode*>& out, int nWait) {
    return QVLog::getInstance()->getLog(out, nWait);
}

void qvEnableDebugOutput() {
    QVLog::getInstance()->enableDebugOutput();
}

void vdxEncryptTrace(int nLevel, int nFlag, const char* szModule, const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    va_list args;
    va_start(args, szFormat);
    qv::text_buffer text;
    qv::append_format_v(text, szFormat, args);
    va_end(args);
    try {
        qvTrace(*translateToLevelChar(nLevel), szModule ? szModule : "", std::string(text.view()), nFlag);
    } catch (const std::bad_alloc&) {
        // The record is lost.
    }
}

void iLog(const char* szFormat, ...) {
    const vdx::ErrnoSaver saver;
    va_list args;
    va_start(args, szFormat);
    qv::text_buffer text;
    qv::append_format_v(text, szFormat, args);
    va_end(args);
    vdx::writeSystemLog(text.c_str());
}

void vdxSetModuleLogSink(vdxModuleLogSink pSink, void* pContext) {
    vdx::setModuleLogSink(pSink, pContext);
}

const char* vdxModuleLogLevelName(int nLevel) {
    return vdx::moduleLogLevelName(nLevel);
}
