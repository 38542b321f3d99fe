// Mutexes and events reached by name.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <vdx/export.h>

// Example:
//   chMutex mutex;
//   mutex.OpenMutex("relay.table");
//   mutex.Lock(-1);
//   ...
//   mutex.Unlock();

// A recursive mutex, one for all who open its name within the process.
//
// Thread-safety: Lock, Unlock and the questions from any thread; open and close an object while no other
// thread is inside one of its operations. Errors: freeing a lock that this thread does not hold ends the
// process by vdxAbort.
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
    bool IsLockedByThisThread() const;  // False when not open.

    // 1 when locked, 0 when not open. Kept: the time limit is not used, the wait has no end.
    int Lock(int nTimeout);
    void Unlock();  // Nothing when not open.

private:
    struct Entry;
    std::atomic<Entry*> m_pEntry{nullptr};
};

// A counting event, one for all who open its name within the process: each SetEvent lets one WaitEvent
// through, now or later.
//
// Kept: a new event starts with one signal, so the first wait returns at once; ResetEvent after the
// first OpenEvent gives an event without.
//
// Thread-safety: waiting, setting and resetting from any thread; open and close an object while no other
// thread is inside one of its operations.
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
