// In-process locks that know their holder.
#pragma once

#include <pthread.h>
#include <atomic>
#include <cstdint>

#include <vdx/export.h>
#include <vdx/thread_handle.h>

// Example:
//   chCriticalSection lock;  // Guards the number below.
//   int nShared = 0;
//   ...
//   lock.Lock();
//   ++nShared;
//   lock.Unlock();

// A non-recursive mutex that records which thread holds it.
//
// Thread-safety: all members. Errors: false and one warning line.
class VDX_API chCriticalSection {
public:
    chCriticalSection();
    ~chCriticalSection();  // Requires: free. Not checked.
    chCriticalSection(const chCriticalSection&) = delete;
    chCriticalSection& operator=(const chCriticalSection&) = delete;

    // Blocks. Deadlocks if this thread holds the lock already: such callers use
    // chReentrantCritical.
    bool Lock() {
        if (pthread_mutex_lock(&m_mutex) != 0) return reportLockFailure();
        m_nOwner.store(vdxThreadHandle(), std::memory_order_relaxed);
        return true;
    }

    // Frees the lock, whoever holds it; if it is free, warns and does nothing.
    void Unlock() {
        if (m_nOwner.load(std::memory_order_relaxed) == 0) return reportNotLocked();
        m_nOwner.store(0, std::memory_order_relaxed);
        pthread_mutex_unlock(&m_mutex);
    }

    // Whether any thread holds the lock; may be stale on return.
    bool IsLocked() const { return m_nOwner.load(std::memory_order_relaxed) != 0; }

    // Whether the calling thread holds the lock; exact.
    bool IsLockedByThisThread() const {
        return m_nOwner.load(std::memory_order_relaxed) == vdxThreadHandle();
    }

private:
    static bool reportLockFailure();
    static void reportNotLocked();

    // Written by the holder only. Read without the lock: a stale value can only
    // say that the lock is not the reader's, which is then the truth. Aligned so
    // that it shares a cache line with the words of the mutex that are in use.
    alignas(32) std::atomic<std::uint64_t> m_nOwner{0};  // 0: free.
    pthread_mutex_t m_mutex;
};

// A lock that its holder may enter again; free after as many leaves as enters.
//
// Thread-safety: all members. Errors: leaving it on a thread that does not hold
// it ends the process by vdxAbort.
class VDX_API chReentrantCritical {
public:
    chReentrantCritical() = default;

    // Blocks, unless this thread is in the lock already.
    void Enter() {
        if (m_lock.IsLockedByThisThread()) {
            ++m_nDepth;
        } else {
            m_lock.Lock();
            m_nDepth = 1;
        }
    }

    // Undoes one Enter of this thread.
    void Leave() {
        if (!m_lock.IsLockedByThisThread()) abortNotHeld();
        if (m_nDepth-- == 1) m_lock.Unlock();
    }

    bool IsLocked() const { return m_lock.IsLocked(); }                          // May be stale on return.
    bool IsLockedByThisThread() const { return m_lock.IsLockedByThisThread(); }  // Exact.

private:
    [[noreturn]] static void abortNotHeld();

    chCriticalSection m_lock;
    std::uint32_t m_nDepth = 0;  // Touched by the holder only.
};

// Holds a chReentrantCritical for the length of a scope.
class chReentrantGuard {
public:
    // Blocks, as Enter.
    explicit chReentrantGuard(chReentrantCritical& lock) : m_lock(lock) { m_lock.Enter(); }
    ~chReentrantGuard() { m_lock.Leave(); }
    chReentrantGuard(const chReentrantGuard&) = delete;
    chReentrantGuard& operator=(const chReentrantGuard&) = delete;

private:
    chReentrantCritical& m_lock;
};

// The lock that guards all static objects of the library: the outermost one.
// Code that holds it may take other locks, never the reverse. Usable to the very
// end of the process; not left locked in a forked child.
VDX_API chReentrantCritical& getStaticObjectCritical();

// Many readers or one writer. Not re-entrant, records no holder.
//
// Thread-safety: all members. Errors: false or the system's error number.
class VDX_API xReadWriteLock {
public:
    xReadWriteLock();
    ~xReadWriteLock();  // Requires: free. Not checked.
    xReadWriteLock(const xReadWriteLock&) = delete;
    xReadWriteLock& operator=(const xReadWriteLock&) = delete;

    bool tryLockRead() { return pthread_rwlock_tryrdlock(&m_lock) == 0; }  // Never blocks.
    bool LockRead() { return pthread_rwlock_rdlock(&m_lock) == 0; }        // Waits for the writer.
    bool LockWrite() { return pthread_rwlock_wrlock(&m_lock) == 0; }       // Waits for everybody.

    // Both free the lock, in whichever mode it is held; 0, or an error number.
    int UnlockRead() { return pthread_rwlock_unlock(&m_lock); }
    int UnlockWrite() { return pthread_rwlock_unlock(&m_lock); }

private:
    pthread_rwlock_t m_lock;
};
