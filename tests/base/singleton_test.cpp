// The creation of process-wide objects.
#include "base/singleton.h"

#include <gtest/gtest.h>
#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include <vdx/platform.h>

#include "support/child.h"

namespace {

struct Slow {
    static constexpr const char* SINGLETON_NAME = "Slow";
    static inline std::atomic<int> s_nMade{0};
    Slow() {
        ++s_nMade;
        vdxSleep(120);
    }
};

struct Reentrant {
    static constexpr const char* SINGLETON_NAME = "Reentrant";
    Reentrant() { vdx::Singleton<Reentrant>::getInstance(); }
};

struct ReentrantOnStdout {
    static constexpr const char* SINGLETON_NAME = "ReentrantOnStdout";
    static constexpr bool SINGLETON_STDERR = false;
    ReentrantOnStdout() { vdx::Singleton<ReentrantOnStdout>::getInstance(); }
};

struct WithExit {
    static constexpr const char* SINGLETON_NAME = "WithExit";
    void OnProcessExit() {
        std::puts("bye");
        std::fflush(stdout);
    }
};

}  // namespace

TEST(Singleton, ThreadsThatComeDuringCreationGetTheSameObject) {
    EXPECT_EQ(vdx::Singleton<Slow>::findInstance(), nullptr);
    std::vector<std::thread> threads;
    std::atomic<Slow*> pFirst{nullptr};
    std::atomic<int> nOther{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            Slow* pMine = &vdx::Singleton<Slow>::getInstance();
            Slow* pExpected = nullptr;
            if (!pFirst.compare_exchange_strong(pExpected, pMine) && pExpected != pMine) ++nOther;
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(nOther, 0);
    EXPECT_EQ(Slow::s_nMade, 1);
    EXPECT_EQ(vdx::Singleton<Slow>::findInstance(), pFirst.load());
}

TEST(Singleton, ReentryWritesTheRedLineAndAborts) {
    const auto onStderr = vdxtest::runInChild([] {
        vdx::Singleton<Reentrant>::getInstance();
        return 0;
    });
    EXPECT_EQ(onStderr.signal(), SIGABRT);
    EXPECT_EQ(onStderr.err, "[\x1b[1;31mE:\x1b[00m] re-enter static instance of Reentrant\n");
    const auto onStdout = vdxtest::runInChild([] {
        vdx::Singleton<ReentrantOnStdout>::getInstance();
        return 0;
    });
    EXPECT_EQ(onStdout.signal(), SIGABRT);
    EXPECT_EQ(onStdout.out, "[\x1b[1;31mE:\x1b[00m] re-enter static instance of ReentrantOnStdout\n");
}

TEST(Singleton, TellsTheObjectThatTheProcessEnds) {
    const auto result = vdxtest::runInChild([]() -> int {
        vdx::Singleton<WithExit>::getInstance();
        std::exit(0);
    });
    EXPECT_EQ(result.out, "bye\n");
}
