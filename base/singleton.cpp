// The one way in which process-wide objects are created.
#include "base/singleton.h"

#include <string>

#include <vdx/locks.h>
#include <vdx/platform.h>
#include <vdx/warnings.h>

namespace vdx {

namespace {

// How many singletons are being created: by all threads, by this one.
constinit std::atomic<int> s_nCreating{0};
constinit thread_local int t_nCreating = 0;

}  // namespace

SingletonGate::Verdict SingletonGate::enter() {
    const chReentrantGuard guard(getStaticObjectCritical());
    if (find()) return Verdict::AlreadyMade;
    const std::uint64_t idSelf = vdxGetCurrentThreadId();
    if (m_idOwnerThread == 0) {
        m_idOwnerThread = idSelf;
        ++s_nCreating;
        ++t_nCreating;
        return Verdict::First;
    }
    return m_idOwnerThread == idSelf ? Verdict::SameThreadAgain : Verdict::OtherThread;
}

void SingletonGate::publish(void* pObject) {
    m_pObject.store(pObject, std::memory_order_release);
    --t_nCreating;
    --s_nCreating;
}

bool SingletonGate::isCreatingElsewhere() {
    return s_nCreating > t_nCreating;
}

void SingletonGate::abandon() {
    const chReentrantGuard guard(getStaticObjectCritical());
    m_idOwnerThread = 0;
    --t_nCreating;
    --s_nCreating;
}

void SingletonGate::pause() {
    vdxSleep(50);
}

void SingletonGate::abortReentry(bool bToStderr, const char* szName) {
    consoleWriteString(bToStderr, std::string("[E:] re-enter static instance of ") + szName);
    vdxAbort();
}

}  // namespace vdx
