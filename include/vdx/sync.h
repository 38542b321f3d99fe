// Mutexes and events reached by name.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <vdx/export.h>
#include <vdx/locks.h>

// Example:
//   chMutex till;
//   till.OpenMutex("shop.till");
//   ...
//   till.Lock(-1);
//   orders.SetEvent();  // A chEvent.
//   till.Unlock();

// A recursive mutex, one for all who open its name within the process.
//
// Thread-safety: Lock, Unlock and the questions from any thread; open and close an object while no other
// thread is inside one of its operations. In a forked child a lock that another thread held stays held.
// Errors: freeing a lock that this thread does not hold ends the process by vdxAbort.
class VDX_API chMutex {
public:
    chMutex() = default;
    ~chMutex() { CloseMutex(); }
    chMutex(const chMutex&) = delete;
    chMutex& operator=(const chMutex&) = delete;

    // Joins the users of the name, the first one creates the lock. Always true. Leaves first what the
    // object holds.
    bool OpenMutex(const std::string& name);

    // Leaves; with the last user the lock goes. Requires: not locked through this object.
    void CloseMutex();
    void DestroyMutex() { CloseMutex(); }

    // Whether this object created the lock. False for everybody once the creator has closed.
    bool IsCreateByMe() const;
    bool IsLockedByThisThread() const {  // False when not open.
        const chReentrantCritical* pLock = m_pLock.load(std::memory_order_acquire);
        return pLock != nullptr && pLock->IsLockedByThisThread();
    }

    // 1 when locked, 0 when not open. Kept: the time limit is not used, the wait has no end.
    int Lock([[maybe_unused]] int nTimeout) {
        chReentrantCritical* pLock = m_pLock.load(std::memory_order_acquire);
        if (pLock == nullptr) return 0;
        pLock->Enter();
        return 1;
    }
    void Unlock() {  // Nothing when not open.
        chReentrantCritical* pLock = m_pLock.load(std::memory_order_acquire);
        if (pLock != nullptr) pLock->Leave();
    }

private:
    struct Entry;  // In the table of names: the lock and who uses it.
    Entry* entry() const;

    std::atomic<chReentrantCritical*> m_pLock{nullptr};  // The lock in the entry.
};

// A counting event, one for all who open its name within the process: each SetEvent lets one WaitEvent
// through, now or later.
//
// Kept: a new event starts with one signal, so the first wait returns at once; ResetEvent after the
// first OpenEvent gives an event without.
//
// Thread-safety: waiting, setting and resetting from any thread; open and close an object while no other
// thread is inside one of its operations. A forked child has its own copy, with the signals that were there
// and nobody waiting.
class VDX_API chEvent {
public:
    struct EventInfo;  // What the users of a name share.

    chEvent() = default;
    ~chEvent() { CloseEvent(); }
    chEvent(const chEvent&) = delete;
    chEvent& operator=(const chEvent&) = delete;

    // Joins the users of the name. Always true. Leaves first what the object holds.
    bool OpenEvent(const std::string& name);

    // Leaves; the event goes with its last user. A second call does nothing.
    void CloseEvent();
    void DestroyEvent() { CloseEvent(); }

    // Whether the calling thread created the event, through whatever object. False when not open.
    bool IsCreateByMe() const;

    // Takes one signal, waiting for it up to so many milliseconds (-1: no limit; 0 and below: not at
    // all). Waits once: it may give false early when another thread was quicker to take the signal.
    // False when not open.
    bool WaitEvent(int nTimeout);

    bool SetEvent();    // Adds one signal and wakes one waiter. Always true.
    void ResetEvent();  // Drops all signals.

    // One more user of the name; creates the event when it is the first.
    static std::shared_ptr<EventInfo> GetNamedEventInfo(const std::string& name);
    // One user less.
    static void ReleaseNamedEventInfo(const std::string& name);

private:
    static std::mutex s_mtxMapEventInfo;  // Guards the map, is never held while waiting.
    static std::map<std::string, std::shared_ptr<EventInfo>>& s_mapEventInfo();

    std::string m_name;
    std::shared_ptr<EventInfo> m_pInfo;
};

// An event that is one datagram on the loop-back interface: any thread or process of this host that knows
// its port can set it, and its socket can be waited for beside others.
//
//     chEvent_Socket wake;
//     ...
//     wake.OpenEvent();
//     ...
//     chFD_SET set(wake.fd());
//     set.add(client.fd());
//     if (set.readSelect(-1) < 0 || set.isSet(wake.fd())) break;
//
// Thread-safety: setting from any thread; one thread at a time waits, resets, opens and closes.
// Errors: false, and a pause of 100 ms after a failed receive, so that a loop around a broken socket does
// not spin.
class VDX_API chEvent_Socket {
public:
    chEvent_Socket() = default;
    ~chEvent_Socket() { CloseEvent(); }
    chEvent_Socket(const chEvent_Socket&) = delete;
    chEvent_Socket& operator=(const chEvent_Socket&) = delete;

    // Binds a socket to a free port of 127.0.0.1, unless there is one. Whether there is one now.
    bool OpenEvent();
    void CloseEvent();
    // Closes the socket and binds a new one, to another port. Whether there is one now.
    bool ResetSocket();

    int fd() const { return m_nSocket.load(std::memory_order_relaxed); }  // -1: none.
    int port() const { return m_nPort.load(std::memory_order_relaxed); }  // 0: none.

    // Sends one signal to its own port; traces "chEvent_Socket::SetEvent failed!" at level 7 when it cannot.
    bool SetEvent();
    // Sends one signal to a port of 127.0.0.1 through this event's socket. A send that fails is repeated
    // over new sockets, so this event may have another port afterwards. False for what is no port.
    bool SendEvent(int nPort);

    // Takes one signal, waiting for it up to so many milliseconds (-1: no limit).
    bool WaitEvent(int nTimeout);
    // Takes every signal that is there. Signals beyond what the system's buffer holds are lost.
    void ResetEvent();

    // What follows a failed receive: a pause of 100 ms, and one more failure counted. Prints nothing.
    void printfWarning();

private:
    bool isSignalled(int nTimeout) const;

    std::atomic<std::int32_t> m_nSocket{-1};
    std::atomic<std::int32_t> m_nPort{0};      // Host byte order.
    std::atomic<std::int32_t> m_nFailures{0};  // Starts again after 300.
};
