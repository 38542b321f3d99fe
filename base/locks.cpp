// In-process locks.
#include <vdx/locks.h>

#include <vdx/platform.h>
#include <vdx/warnings.h>

#include "base/fork_hooks.h"
#include "base/no_destructor.h"
#include "base/singleton.h"

chCriticalSection::chCriticalSection() {
    pthread_mutex_init(&m_mutex, nullptr);
}

chCriticalSection::~chCriticalSection() {
    pthread_mutex_destroy(&m_mutex);
}

bool chCriticalSection::reportLockFailure() {
    // Kept: the text is that of errno, although the call returned its own number.
    vdxOutputWarningString("pthread_mutex_lock fail:(%s).", vdxTransLastError().c_str());
    return false;
}

void chCriticalSection::reportNotLocked() {
    vdxOutputWarningString("Try to unlock a NOLOCKED CriticalSection.");
}

void chReentrantCritical::abortNotHeld() {
    vdxAbort();
}

xReadWriteLock::xReadWriteLock() {
    pthread_rwlock_init(&m_lock, nullptr);
}

xReadWriteLock::~xReadWriteLock() {
    pthread_rwlock_destroy(&m_lock);
}

namespace {

// Before a fork. A thread that creates a singleton needs the lock to get on with it; if
// this thread held it before, there is nothing to wait for.
void enterStatic() {
    chReentrantCritical& lock = getStaticObjectCritical();
    const bool bHeld = lock.IsLockedByThisThread();
    lock.Enter();
    while (!bHeld && vdx::SingletonGate::isCreatingElsewhere()) {
        lock.Leave();
        vdxSwitchToThread();
        lock.Enter();
    }
}
void leaveStatic() {
    getStaticObjectCritical().Leave();
}

// Static objects of applications use the lock while they are destroyed, after
// any destructor of ours would have run: it has none.
struct StaticCritical {
    StaticCritical() {
        vdx::setForkHooks(vdx::ForkOrder::StaticObjects, {enterStatic, leaveStatic, leaveStatic});
    }
    chReentrantCritical lock;
};

}  // namespace

chReentrantCritical& getStaticObjectCritical() {
    static vdx::NoDestructor<StaticCritical> s_critical;
    return s_critical.get().lock;
}

namespace {

// Made when the library is loaded, so that no fork meets it half made.
[[maybe_unused]] const bool s_bMade = (getStaticObjectCritical(), true);

}  // namespace
