// What must happen around fork, in lock order, in one place.
#pragma once

#include <mutex>

namespace vdx {

// The library's process-wide locks from the outermost to the innermost. Before a
// fork they are taken in this order, after it released in the reverse one, so
// that no lock is left held by a thread that does not exist in the child.
// The trace mutex comes before the lock of the named tables: blocks are mapped while
// a named mutex is held, never the reverse. The registry's lock is held by applications,
// which may call anything meanwhile: it is the outermost.
enum class ForkOrder {
    Registry,
    NetworkCallbacks,
    NetworkManager,
    NetworkSubscriptions,
    NetworkSource,
    StaticObjects,
    Trace,
    NamedObjects,
    LinePrefix,
    LogQueue,
    LocalTime,
    Events,
    Console,
    ModuleLog,
    SystemLog,
    Allocation,
    XmlCells,
    Count
};

struct ForkHooks {
    void (*pPrepare)();  // In the parent, before. May be null, as the others.
    void (*pParent)();   // In the parent, after.
    void (*pChild)();    // In the child, after: only this thread exists.
};

// Sets the hooks of one place in the order. Each place is set once, by its owner,
// before or while the object is made that it guards.
void setForkHooks(ForkOrder order, const ForkHooks& hooks);

// The one mutex of a place in the order that needs no more than this: held around each fork, so that the
// child finds it free. Hooked when the library is loaded.
template <ForkOrder ORDER>
class ForkMutex {
public:
    static std::mutex& get() {
        (void)s_bHooked;
        return s_mutex;
    }

private:
    static void lock() { s_mutex.lock(); }
    static void unlock() { s_mutex.unlock(); }

    static inline constinit std::mutex s_mutex;
    static inline const bool s_bHooked = (setForkHooks(ORDER, {lock, unlock, unlock}), true);
};

}  // namespace vdx
