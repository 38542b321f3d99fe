// The lock of everything that is shared by name.
#include "ipc/named_table.h"

#include "base/fork_hooks.h"

namespace vdx {

namespace {

void enterNamed() {
    namedObjectsLock().Enter();
}
void leaveNamed() {
    namedObjectsLock().Leave();
}

struct NamedObjectsCritical {
    NamedObjectsCritical() { setForkHooks(ForkOrder::NamedObjects, {enterNamed, leaveNamed, leaveNamed}); }
    chReentrantCritical lock;
};

}  // namespace

chReentrantCritical& namedObjectsLock() {
    static NoDestructor<NamedObjectsCritical> s_critical;
    return s_critical.get().lock;
}

}  // namespace vdx
