// One pthread_atfork registration that runs all hooks in lock order.
#include "base/fork_hooks.h"

#include <pthread.h>
#include <atomic>

namespace vdx {

namespace {

constexpr int PLACES = static_cast<int>(ForkOrder::Count);

struct Place {
    ForkHooks hooks{};
    std::atomic<bool> bSet{false};
    bool bPrepared = false;  // Only the forking thread looks at it.
};

Place s_places[PLACES];

void prepare() {
    for (Place& place : s_places) {
        place.bPrepared = place.bSet.load(std::memory_order_acquire);
        if (place.bPrepared && place.hooks.pPrepare) place.hooks.pPrepare();
    }
}

// A place that was set between prepare and now holds nothing: it is passed over.
void finish(void (*ForkHooks::*pHook)()) {
    for (int i = PLACES - 1; i >= 0; --i) {
        Place& place = s_places[i];
        if (place.bPrepared && place.hooks.*pHook) (place.hooks.*pHook)();
        place.bPrepared = false;
    }
}

void inParent() {
    finish(&ForkHooks::pParent);
}
void inChild() {
    finish(&ForkHooks::pChild);
}

}  // namespace

void setForkHooks(ForkOrder order, const ForkHooks& hooks) {
    [[maybe_unused]] static const int s_nRegistered = pthread_atfork(prepare, inParent, inChild);
    Place& place = s_places[static_cast<int>(order)];
    if (place.bSet.load(std::memory_order_acquire)) return;
    place.hooks = hooks;
    place.bSet.store(true, std::memory_order_release);
}

}  // namespace vdx
