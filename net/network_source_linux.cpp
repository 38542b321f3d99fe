// The network as Linux reports it: route netlink.
#include "net/network_source.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <vdx/platform.h>
#include <vdx/socket.h>
#include <vdx/warnings.h>

#include "base/fork_hooks.h"
#include "base/no_destructor.h"
#include "net/default_route_linux.h"
#include "siblings/pmrfile/descriptor.h"

namespace vdx::net {

namespace {

constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
constexpr int kRetryMilliseconds = 100;

struct Subscription {
    std::uint64_t nNumber = 0;
    std::function<void()> notice;
    bool bDue = false;  // A notice is to be given.
};

// One life of the notification thread. All but the descriptors is guarded by the
// source's lock.
struct Session {
    const std::uint64_t nLife;  // A later one has a higher number.
    chSocket notices;
    Descriptor wake;  // Readable when the thread shall look at the rest.
    std::vector<Subscription> subscriptions;
    bool bEnd = false;                // There are none left.
    bool bEndedWithin = false;        // The last one ended on the thread: nobody need wait for that.
    bool bGone = false;               // The thread has ended.
    bool bLost = false;               // It stayed in the parent process: nobody may wait for it.
    std::uint64_t nRunning = 0;       // The one whose notice runs; 0: none.
    std::condition_variable changed;  // A subscription, a notice or the thread has ended.
    std::thread thread;               // Not joinable once somebody waits for its end.

    explicit Session(Subscription first)
        : nLife(first.nNumber), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        subscriptions.push_back(std::move(first));
    }
    void wakeUp() const { eventfd_write(wake.get(), 1); }
    void close() {
        notices.DestroySocket();
        wake.close();
    }
    auto find(std::uint64_t nNumber) {
        return std::find_if(subscriptions.begin(), subscriptions.end(),
                            [=](const Subscription& entry) { return entry.nNumber == nNumber; });
    }
    bool has(std::uint64_t nNumber) { return find(nNumber) != subscriptions.end(); }

    // The next notice to give, which runs from now on; null: none is due.
    std::function<void()> takeDue() {
        const auto due = std::find_if(subscriptions.begin(), subscriptions.end(),
                                      [](const Subscription& entry) { return entry.bDue; });
        if (due == subscriptions.end()) return nullptr;
        due->bDue = false;
        nRunning = due->nNumber;
        return due->notice;
    }
};

// Takes everything that waits; what it says does not matter, that it came does. Also
// true when notices were lost.
bool drain(int nFd) {
    bool bAny = false;
    char buffer[8192];
    for (;;) {
        const int nBytes = sockRecv(nFd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (nBytes < 0 && errno != ENOBUFS) return bAny;
        bAny = true;
    }
}

// Starts a thread that no signal of the process is delivered to, but those of its own faults. Where there is
// none, the result is not joinable and errno says why.
template <class Body>
std::thread startQuietThread(Body body) {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    for (const int nFault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
        sigdelset(&blocked, nFault);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    std::thread thread;
    try {
        thread = std::thread(std::move(body));
    } catch (const std::system_error& error) {
        errno = error.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

class LinuxSource : public NetworkSource {
public:
    LinuxSource() { setForkHooks(ForkOrder::NetworkSource, {lockForFork, unlockInParent, unlockInChild}); }

    bool readFlags(std::uint32_t& nFlags) override { return readDefaultRoute(nFlags); }
    std::uint64_t subscribe(std::function<void()> notice, bool bNow) override;
    void unsubscribe(std::uint64_t nSubscription) override;
    void waitForEnded() override;
    void pause(int nMilliseconds) override;
    void followSleep(void (*)(), void (*)()) override {}  // Links and addresses tell of a wake.

private:
    std::shared_ptr<Session> openSession(Subscription first);
    void run(const std::shared_ptr<Session>& session);
    void leave(const std::shared_ptr<Session>& session);
    void forget(const std::shared_ptr<Session>& session);
    void waitForThread(std::shared_ptr<Session> session, std::unique_lock<std::mutex>& guard);

    static void lockForFork();
    static void unlockInParent();
    static void unlockInChild();

    std::mutex m_lock;
    std::shared_ptr<Session> m_session;              // The one with subscriptions.
    std::vector<std::shared_ptr<Session>> m_ending;  // Their threads end. And the lost ones.
    std::uint64_t m_nLastSubscription = 0;
    static thread_local Session* t_pSession;  // On the notification thread: its own.
};

thread_local Session* LinuxSource::t_pSession = nullptr;

std::shared_ptr<Session> LinuxSource::openSession(Subscription first) {
    auto session = std::make_shared<Session>(std::move(first));
    m_ending.reserve(m_ending.size() + 1);  // Its end needs no memory.
    sockaddr_nl groups{};
    groups.nl_family = AF_NETLINK;
    groups.nl_groups = kGroups;
    if (!session->wake.isOpen() || !session->notices.CreateSocket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE) ||
        bind(session->notices.fd(), reinterpret_cast<const sockaddr*>(&groups), sizeof groups) != 0) {
        return nullptr;
    }
    session->thread = startQuietThread([this, session] { run(session); });
    return session->thread.joinable() ? session : nullptr;
}

std::uint64_t LinuxSource::subscribe(std::function<void()> notice, bool bNow) {
    const std::lock_guard guard(m_lock);
    Subscription fresh{++m_nLastSubscription, std::move(notice), bNow};
    if (m_session != nullptr) {
        m_session->subscriptions.push_back(std::move(fresh));
    } else if ((m_session = openSession(std::move(fresh))) == nullptr) {
        vdxOutputWarningString("network monitor: %s", vdxTransLastError().c_str());
        return 0;
    }
    if (bNow) m_session->wakeUp();
    return m_nLastSubscription;
}

void LinuxSource::unsubscribe(std::uint64_t nSubscription) {
    Subscription ended;  // What it holds goes without the lock.
    const std::lock_guard guard(m_lock);
    if (m_session == nullptr || !m_session->has(nSubscription)) return;
    Session& session = *m_session;
    const auto found = session.find(nSubscription);
    ended = std::move(*found);
    session.subscriptions.erase(found);
    session.changed.notify_all();
    if (!session.subscriptions.empty()) return;
    session.bEnd = true;
    session.bEndedWithin = t_pSession == &session;
    session.wakeUp();
    m_ending.push_back(std::move(m_session));
    m_session = nullptr;
}

// A notification thread waits for later ones only, so that no two wait for each other.
void LinuxSource::waitForEnded() {
    std::unique_lock guard(m_lock);
    const std::uint64_t nOwn = t_pSession != nullptr ? t_pSession->nLife : 0;
    const std::uint64_t nNow = m_nLastSubscription;
    if (const auto session = m_session; session != nullptr && session->nLife > nOwn) {
        const std::uint64_t nRunning = session->nRunning;
        if (nRunning != 0 && !session->has(nRunning))
            session->changed.wait(guard, [&] { return session->nRunning != nRunning; });
    }
    const auto isAwaited = [=](const std::shared_ptr<Session>& session) {
        return !session->bLost && session->nLife > nOwn && session->nLife <= nNow;
    };
    for (;;) {
        const auto found = std::find_if(m_ending.begin(), m_ending.end(), isAwaited);
        if (found == m_ending.end()) return;
        waitForThread(*found, guard);
    }
}

// The first one that waits joins the thread, the others wait for that.
void LinuxSource::waitForThread(std::shared_ptr<Session> session, std::unique_lock<std::mutex>& guard) {
    if (!session->thread.joinable()) {
        session->changed.wait(guard, [&] { return session->bGone; });
        return;
    }
    std::thread thread = std::move(session->thread);
    guard.unlock();
    thread.join();
    guard.lock();
    forget(session);
}

// With the lock.
void LinuxSource::forget(const std::shared_ptr<Session>& session) {
    session->bGone = true;
    session->changed.notify_all();
    std::erase(m_ending, session);
}

void LinuxSource::pause(int nMilliseconds) {
    std::unique_lock guard(m_lock);
    Session* const pSession = t_pSession;
    if (pSession == nullptr) return;
    pSession->changed.wait_for(guard, std::chrono::milliseconds(nMilliseconds),
                               [=] { return pSession->bEnd || !pSession->has(pSession->nRunning); });
}

// With the lock: the notification thread's last step.
void LinuxSource::leave(const std::shared_ptr<Session>& session) {
    session->close();
    // Otherwise somebody waits, or will, and joins it.
    const bool bNobodyJoins = session->bEndedWithin && session->thread.joinable();
    if (session->bLost || !bNobodyJoins) return;
    session->thread.detach();
    forget(session);
}

void LinuxSource::run(const std::shared_ptr<Session>& session) {
    t_pSession = session.get();
    pollfd items[] = {{session->notices.fd(), POLLIN, 0}, {session->wake.get(), POLLIN, 0}};
    for (;;) {
        std::function<void()> notice;
        {
            const std::lock_guard guard(m_lock);
            if (std::exchange(session->nRunning, 0) != 0) session->changed.notify_all();
            if (session->bEnd) {
                leave(session);
                return;
            }
            notice = session->takeDue();
        }
        if (notice) {
            notice();
            continue;
        }
        if (poll(items, 2, -1) < 0) vdxSleep(kRetryMilliseconds);  // No memory, say.
        eventfd_t nWakes;
        eventfd_read(session->wake.get(), &nWakes);
        if (!drain(session->notices.fd())) continue;
        const std::lock_guard guard(m_lock);
        for (Subscription& entry : session->subscriptions)
            entry.bDue = true;
    }
}

LinuxSource& linuxSource() {
    static NoDestructor<LinuxSource> s_source;
    return s_source.get();
}

void LinuxSource::lockForFork() {
    linuxSource().m_lock.lock();
}

void LinuxSource::unlockInParent() {
    linuxSource().m_lock.unlock();
}

// The threads are not here: their sessions are kept, never joined.
void LinuxSource::unlockInChild() {
    LinuxSource& source = linuxSource();
    if (source.m_session != nullptr) source.m_ending.push_back(std::move(source.m_session));
    source.m_session = nullptr;
    for (const std::shared_ptr<Session>& session : source.m_ending) {
        session->bLost = true;
        session->bEnd = true;  // For a child that was forked in a notice.
        session->nRunning = 0;
        session->close();
    }
    source.m_lock.unlock();
}

}  // namespace

NetworkSource& platformNetworkSource() {
    return linuxSource();
}

}  // namespace vdx::net
