// Threads that know each other by names alone: a block, a mutex and an event.
#include <vdx/named_object.h>
#include <vdx/sync.h>
#include <vdx/warnings.h>

#include <cstdint>
#include <cstring>
#include <thread>

namespace {

constexpr int nOrders = 1000;

// Blocks are aligned to 4 bytes: no member may need more.
struct Totals {
    std::int32_t nOrders;
    std::int32_t nPieces;
};

// The block of totals, cleared by whoever comes first. Hold nameHelperLock().
Totals* findTotals() {
    bool bCreated = false;
    void* p = nameGetSystemObject("shop.totals", sizeof(Totals), &bCreated);
    if (p != nullptr && bCreated) std::memset(p, 0, sizeof(Totals));
    return static_cast<Totals*>(p);
}

// Takes orders as they are signalled and adds them up.
void serve(int nWanted) {
    chEvent orders;
    orders.OpenEvent("shop.orders");
    for (int n = 0; n < nWanted;) {
        if (!orders.WaitEvent(1000)) continue;
        nameHelperLock();
        Totals* pTotals = findTotals();
        ++pTotals->nOrders;
        pTotals->nPieces += 3;
        nameHelperUnlock();
        ++n;
    }
}

}  // namespace

int main() {
    chEvent orders;
    orders.OpenEvent("shop.orders");
    orders.ResetEvent();  // A new event starts with one signal.
    chMutex till;         // A lock of the application's own, found by name as well.
    till.OpenMutex("shop.till");

    std::thread first(serve, nOrders / 2);
    std::thread second(serve, nOrders / 2);
    for (int i = 0; i < nOrders; ++i) {
        till.Lock(-1);
        orders.SetEvent();
        till.Unlock();
    }
    first.join();
    second.join();

    nameHelperLock();
    const Totals totals = *findTotals();
    uCSystemNamedObjectHelper::getInstance()->GetSystemObject()->GetManager().FreeNamedObject("shop.totals");
    nameHelperUnlock();
    consolePrintf(false, "%d orders, %d pieces", totals.nOrders, totals.nPieces);
    return totals.nOrders == nOrders && totals.nPieces == 3 * nOrders ? 0 : 1;
}
