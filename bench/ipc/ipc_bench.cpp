// Named blocks, mutexes and events against Boost.Interprocess, the C++ library and raw sockets.
#include <arpa/inet.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/interprocess/managed_heap_memory.hpp>

#include <vdx/named_object.h>
#include <vdx/sync.h>

#include "support/lock_loop.h"
#include "support/ratio.h"

namespace {

namespace bip = boost::interprocess;

// --- Named blocks -----------------------------------------------------------

constexpr std::size_t nBlocks = 32;
constexpr std::size_t nBlockBytes = 64;

struct Block {
    char bytes[nBlockBytes];
};

std::vector<std::string> blockNames() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < nBlocks; ++i)
        names.push_back("relay.session." + std::to_string(100 + i * 7));
    return names;
}

// Both in a segment of this process's memory, each behind its own lock: each call of the peer takes its
// own, too.
struct VdxRegistry {
    VdxRegistry() {
        for (const auto& name : names)
            make(name);
    }
    ~VdxRegistry() {
        for (const auto& name : names)
            drop(name);
    }
    void make(const std::string& name) {
        nameHelperLock();
        void* p = nameGetSystemObject(name.c_str(), nBlockBytes, nullptr);
        nameHelperUnlock();
        if (p == nullptr) std::abort();
    }
    void* find(const std::string& name) {
        nameHelperLock();
        void* p =
            uCSystemNamedObjectHelper::getInstance()->GetSystemObject()->GetManager().FindNamedObject(name);
        nameHelperUnlock();
        return p;
    }
    void drop(const std::string& name) {
        nameHelperLock();
        uCSystemNamedObjectHelper::getInstance()->GetSystemObject()->GetManager().FreeNamedObject(name);
        nameHelperUnlock();
    }
    const std::vector<std::string> names = blockNames();
};

struct BoostRegistry {
    BoostRegistry() : memory(65536) {
        for (const auto& name : names)
            make(name);
    }
    void make(const std::string& name) {
        if (memory.find_or_construct<Block>(name.c_str(), std::nothrow)() == nullptr) std::abort();
    }
    void* find(const std::string& name) { return memory.find<Block>(name.c_str()).first; }
    void drop(const std::string& name) { memory.destroy<Block>(name.c_str()); }
    const std::vector<std::string> names = blockNames();
    bip::basic_managed_heap_memory<char, bip::rbtree_best_fit<bip::mutex_family>, bip::iset_index> memory;
};

template <class Registry>
void BM_FindBlock(benchmark::State& state) {
    Registry registry;
    std::size_t i = 0;
    for (auto _ : state) {
        void* p = registry.find(registry.names[i]);
        if (p == nullptr) std::abort();
        benchmark::DoNotOptimize(p);
        i = (i + 11) % nBlocks;
    }
}
BENCHMARK(BM_FindBlock<VdxRegistry>);
BENCHMARK(BM_FindBlock<BoostRegistry>);
VDX_FIGURE("Named block, lookup among 32", "BM_FindBlock<VdxRegistry>", {"BM_FindBlock<BoostRegistry>"}, 1.3);

template <class Registry>
void BM_MakeBlock(benchmark::State& state) {
    Registry registry;
    const std::string name = "relay.session.new";
    for (auto _ : state) {
        registry.make(name);
        registry.drop(name);
    }
}
BENCHMARK(BM_MakeBlock<VdxRegistry>);
BENCHMARK(BM_MakeBlock<BoostRegistry>);
VDX_FIGURE("Named block, creation and release", "BM_MakeBlock<VdxRegistry>", {"BM_MakeBlock<BoostRegistry>"},
           3.0);

// --- Mutexes ----------------------------------------------------------------

struct VdxMutex {
    VdxMutex() { mutex.OpenMutex("bench.mutex"); }
    void lock() { mutex.Lock(-1); }
    void unlock() { mutex.Unlock(); }
    chMutex mutex;
};

template <class Mutex>
void BM_Mutex(benchmark::State& state) {
    static Mutex s_mutex;
    vdx::bench::lockAndUnlock(state, s_mutex);
}
BENCHMARK(BM_Mutex<VdxMutex>);
BENCHMARK(BM_Mutex<std::recursive_mutex>);
VDX_FIGURE("Named mutex, uncontended", "BM_Mutex<VdxMutex>", {"BM_Mutex<std::recursive_mutex>"}, 1.0);

template <class Mutex>
void BM_MutexTwice(benchmark::State& state) {
    static Mutex s_mutex;
    s_mutex.lock();
    vdx::bench::lockAndUnlock(state, s_mutex);
    s_mutex.unlock();
}
BENCHMARK(BM_MutexTwice<VdxMutex>);
BENCHMARK(BM_MutexTwice<std::recursive_mutex>);
VDX_FIGURE("Named mutex, taken again", "BM_MutexTwice<VdxMutex>", {"BM_MutexTwice<std::recursive_mutex>"},
           1.0);

// --- Events -----------------------------------------------------------------

struct VdxEvent {
    explicit VdxEvent(const char* szName) {
        event.OpenEvent(szName);
        event.ResetEvent();
    }
    void set() { event.SetEvent(); }
    bool take() { return event.WaitEvent(-1); }
    chEvent event;
};

struct CountedCondition {
    explicit CountedCondition(const char*) {}
    void set() {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            ++nCount;
        }
        condition.notify_one();
    }
    bool take() {
        std::unique_lock<std::mutex> lock(mutex);
        if (nCount <= 0) condition.wait(lock);
        if (nCount <= 0) return false;
        --nCount;
        return true;
    }
    std::mutex mutex;
    std::condition_variable condition;
    int nCount = 0;
};

template <class Event>
void BM_Event(benchmark::State& state) {
    Event event("bench.event");
    for (auto _ : state) {
        event.set();
        benchmark::DoNotOptimize(event.take());
    }
}
BENCHMARK(BM_Event<VdxEvent>);
BENCHMARK(BM_Event<CountedCondition>);
VDX_FIGURE("Event, set and taken", "BM_Event<VdxEvent>", {"BM_Event<CountedCondition>"}, 1.0);

// One iteration: to the other thread and back.
template <class Event>
void BM_EventPingPong(benchmark::State& state) {
    Event there("bench.there");
    Event back("bench.back");
    std::atomic<bool> bStop{false};
    std::thread other([&] {
        for (;;) {
            while (!there.take()) {
            }
            if (bStop) return;
            back.set();
        }
    });
    for (auto _ : state) {
        there.set();
        while (!back.take()) {
        }
    }
    bStop = true;
    there.set();
    other.join();
}
BENCHMARK(BM_EventPingPong<VdxEvent>)->UseRealTime();
BENCHMARK(BM_EventPingPong<CountedCondition>)->UseRealTime();
VDX_FIGURE("Event, ping-pong between two threads", "BM_EventPingPong<VdxEvent>/real_time",
           {"BM_EventPingPong<CountedCondition>/real_time"}, 1.0);

// --- Socket events ----------------------------------------------------------

struct VdxSocketEvent {
    VdxSocketEvent() { event.OpenEvent(); }
    bool set() { return event.SetEvent(); }
    bool take() { return event.WaitEvent(1000); }
    chEvent_Socket event;
};

// The same calls by hand: send to itself, wait with a limit, receive.
struct RawUdp {
    RawUdp() : nSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t nLength = sizeof address;
        bind(nSocket, reinterpret_cast<sockaddr*>(&address), nLength);
        getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength);
    }
    ~RawUdp() { close(nSocket); }
    bool set() {
        return sendto(nSocket, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1;
    }
    bool take() {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(nSocket, &readable);
        fd_set exceptional = readable;
        timeval time{1, 0};
        if (select(nSocket + 1, &readable, nullptr, &exceptional, &time) != 1) return false;
        char buffer[64];
        return recvfrom(nSocket, buffer, sizeof buffer, 0, nullptr, nullptr) > 0;
    }
    sockaddr_in address{};
    int nSocket;
};

template <class Event>
void BM_SocketEvent(benchmark::State& state) {
    Event event;
    for (auto _ : state) {
        if (!event.set() || !event.take()) std::abort();
    }
}
BENCHMARK(BM_SocketEvent<VdxSocketEvent>);
BENCHMARK(BM_SocketEvent<RawUdp>);
VDX_FIGURE("Socket event, set and taken", "BM_SocketEvent<VdxSocketEvent>", {"BM_SocketEvent<RawUdp>"}, 0.95);

}  // namespace
