// Under the address sanitizer: a child that was forked beside busy threads may allocate.
//
// The sanitizer of clang 14 leaves its locks in the child as threads held them that the child does not have.
// Later versions take them for the time of a fork, as it is done here.
#include <pthread.h>

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer's names.
namespace __lsan {
void LockAllocator();
void UnlockAllocator();
}  // namespace __lsan
namespace __sanitizer {
void StackDepotLockAll();
void StackDepotUnlockAll();
}  // namespace __sanitizer
// NOLINTEND(bugprone-reserved-identifier)

namespace {

void lock() {
    __lsan::LockAllocator();
    __sanitizer::StackDepotLockAll();
}

void unlock() {
    __sanitizer::StackDepotUnlockAll();
    __lsan::UnlockAllocator();
}

// Before all others: hooks made first are the last to run before a fork and the first after it, and theirs
// allocate.
[[gnu::constructor(101)]] void registerHooks() {
    pthread_atfork(lock, unlock, unlock);
}

}  // namespace
