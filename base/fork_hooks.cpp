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
};

constinit Place s_places[PLACES];  // Places are set before main, too.

// The places that this thread's fork has prepared, a bit each. Not common to all
// threads: a second thread that forks waits in prepare for the first one's locks.
[[gnu::tls_model("initial-exec")]] thread_local unsigned int t_nPrepared = 0;

void prepare() {
    t_nPrepared = 0;
    for (int i = 0; i < PLACES; ++i) {
        const Place& place = s_places[i];
        if (!place.bSet.load(std::memory_order_acquire)) continue;
        if (place.hooks.pPrepare) place.hooks.pPrepare();
        t_nPrepared |= 1U << i;
    }
}

// A place that was set between prepare and now holds nothing: it is passed over.
void finish(void (*ForkHooks::*pHook)()) {
    for (int i = PLACES - 1; i >= 0; --i) {
        const ForkHooks& hooks = s_places[i].hooks;
        if ((t_nPrepared >> i & 1U) != 0 && hooks.*pHook) (hooks.*pHook)();
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
