// What must happen around fork, in lock order, in one place.
#pragma once

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
    NetworkSource,
    StaticObjects,
    Trace,
    NamedObjects,
    LinePrefix,
    LogQueue,
    LocalTime,
    Events,
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

}  // namespace vdx
