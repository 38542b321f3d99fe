// The registry of named blocks: its bytes by an independent reader, its rules, its users.
#include <atomic>
#include <chrono>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vdx/named_object.h>

#include "support/child.h"

namespace {

// A segment of our own, at an address of our choice.
struct Segment {
    Segment() : bytes(8192 + 4, 0xCC) { new (bytes.data() + 4) chSystemNamedObject; }
    chSystemNamedObject& object() { return *reinterpret_cast<chSystemNamedObject*>(bytes.data() + 4); }
    chNamedObjectManager& manager() { return object().GetManager(); }
    std::vector<unsigned char> bytes;
};

// Reads the segment by offsets alone.
class Reader {
public:
    explicit Reader(const Segment& segment) : m_p(segment.bytes.data() + 4) {}
    template <class T>
    T read(std::int64_t nAt) const {
        T value;
        std::memcpy(&value, m_p + nAt, sizeof value);
        return value;
    }
    std::int64_t follow(std::int64_t nAt) const { return nAt + read<std::int64_t>(nAt); }
    std::string text(std::int64_t nField) const {
        if (read<std::int64_t>(nField) == -1) return "";
        const std::int64_t nText = follow(nField);
        EXPECT_EQ(m_p[nText + 4 + read<std::uint32_t>(nText)], 0);
        return {reinterpret_cast<const char*>(m_p + nText + 4), read<std::uint32_t>(nText)};
    }
    // Name to data offset, in list order checked both ways.
    std::map<std::string, std::int64_t> records() const {
        std::map<std::string, std::int64_t> found;
        std::int64_t nRecord = 32;
        for (;;) {
            const std::int64_t nNext = follow(nRecord);
            EXPECT_EQ(follow(nNext + 8), nRecord + 8);
            if (nNext == 32) return found;
            EXPECT_TRUE(found.emplace(text(nNext + 16), nNext + 24).second);
            nRecord = nNext;
        }
    }

private:
    const unsigned char* m_p;
};

TEST(NamedSegment, EmptyLayout) {
    Segment segment;
    const Reader reader(segment);
    EXPECT_EQ(reader.read<std::int32_t>(0), 8192);
    EXPECT_EQ(reader.read<std::int32_t>(4), 4099);
    EXPECT_EQ(reader.read<std::int32_t>(8), 8144);
    EXPECT_EQ(reader.read<std::int32_t>(12), 40);
    EXPECT_EQ(reader.follow(16), 56);
    EXPECT_EQ(reader.follow(24), 64);
    EXPECT_EQ(reader.read<std::int64_t>(32), 0);
    EXPECT_EQ(reader.read<std::int64_t>(40), 0);
    EXPECT_EQ(reader.read<std::uint64_t>(48), 0x8000000000001FD0u);
    EXPECT_EQ(segment.bytes[4 + 72], 0xCC);
    EXPECT_EQ(segment.manager().FindNamedObject("x"), nullptr);
    EXPECT_EQ(segment.manager().FindNamedObject(""), nullptr);
}

TEST(NamedSegment, OneRecord) {
    Segment segment;
    bool bCreated = false;
    auto* p = static_cast<unsigned char*>(segment.manager().GetNamedObject("name", 10, &bCreated));
    EXPECT_TRUE(bCreated);
    const Reader reader(segment);
    EXPECT_EQ(p, segment.bytes.data() + 4 + 80);     // Cell 48, record 56, data 80.
    EXPECT_EQ(reader.read<std::uint64_t>(48), 44u);  // 10 + 24 rounded to 36, and 8.
    EXPECT_EQ(reader.read<std::int64_t>(32), 24);    // Head next.
    EXPECT_EQ(reader.read<std::int64_t>(40), 24);    // Head prev, to the record's second word.
    EXPECT_EQ(reader.read<std::int64_t>(56), -24);
    EXPECT_EQ(reader.read<std::int64_t>(64), -24);
    EXPECT_EQ(reader.follow(72), 100);               // The name's cell follows at 92.
    EXPECT_EQ(reader.read<std::uint64_t>(92), 24u);  // 4 + 5 rounded to 16, and 8.
    EXPECT_EQ(std::memcmp(segment.bytes.data() + 104, "\4\0\0\0name\0", 9), 0);
    EXPECT_EQ(p[0], 0xCC);  // Not cleared.
    segment.manager().FreeNamedObject("name");
    EXPECT_EQ(reader.read<std::int64_t>(32), 0);
    EXPECT_EQ(reader.read<std::int64_t>(72), -1);
    EXPECT_EQ(segment.object().GetPool().get_available_bytes(p - 24), 36);
}

TEST(NamedSegment, HeaderCheck) {
    ipcObjectHeader header;
    EXPECT_TRUE(header.InitHeader(8192, 4099));
    EXPECT_TRUE(header.AssertHeader("any", 8192, 4099));
    EXPECT_FALSE(header.AssertHeader("any", 8191, 4099));
    EXPECT_FALSE(header.AssertHeader("any", 8192, 4105));
}

TEST(NamedObjects, FoundOrMade) {
    Segment segment;
    chNamedObjectManager& manager = segment.manager();
    bool bCreated = false;
    void* a = manager.GetNamedObject("a", 8, &bCreated);
    EXPECT_TRUE(bCreated);
    EXPECT_EQ(manager.GetNamedObject("a", 5000, &bCreated), a);
    EXPECT_FALSE(bCreated);
    EXPECT_EQ(manager.GetNamedObject("a", 8, nullptr), a);
    EXPECT_EQ(manager.FindNamedObject("a"), a);
    void* b = manager.GetNamedObject("b", 8, nullptr);
    EXPECT_NE(a, b);
    manager.FreeNamedObject("missing");
    manager.FreeObject(nullptr);
    manager.FreeNamedObject("a");
    EXPECT_EQ(manager.FindNamedObject("a"), nullptr);
    EXPECT_EQ(manager.FindNamedObject("b"), b);
    manager.FreeObject(b);
    EXPECT_EQ(manager.FindNamedObject("b"), nullptr);
    manager.GetNamedObject("a", 8, &bCreated);
    EXPECT_TRUE(bCreated);
}

TEST(NamedObjects, AnyBytesAreAName) {
    Segment segment;
    const std::string names[] = {"",
                                 "a",
                                 std::string("a\0", 2),
                                 std::string("a\0b", 3),
                                 std::string("a\0c", 3),
                                 "\xFF\xFE",
                                 std::string(300, 'x'),
                                 std::string(300, 'x') + "y"};
    std::map<std::string, void*> made;
    for (const auto& name : names)
        made[name] = segment.manager().GetNamedObject(name, 4, nullptr);
    for (const auto& [name, p] : made)
        EXPECT_EQ(segment.manager().FindNamedObject(name), p);
    const auto records = Reader(segment).records();
    EXPECT_EQ(records.size(), std::size(names));
    EXPECT_EQ(Reader(segment).read<std::int64_t>(records.at("") - 8), -1);  // The empty name has no text.
}

TEST(NamedObjects, SizesHaveBounds) {
    Segment segment;
    for (const int nSize : {0, -1, -100, INT_MIN}) {
        void* p = segment.manager().GetNamedObject("n" + std::to_string(nSize), nSize, nullptr);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(segment.object().GetPool().get_available_bytes(static_cast<char*>(p) - 24), 24);
    }
    bool bCreated = true;
    for (const int nSize : {8144, INT_MAX - 24, INT_MAX}) {
        EXPECT_EQ(segment.manager().GetNamedObject("huge", nSize, &bCreated), nullptr);
        EXPECT_FALSE(bCreated);
    }
    const auto nBefore = Reader(segment).records().size();
    EXPECT_EQ(segment.manager().GetNamedObject(std::string(8100, 'x'), 8, nullptr), nullptr);
    EXPECT_EQ(Reader(segment).records().size(), nBefore);
    EXPECT_NE(segment.manager().GetNamedObject("fits", 7000, nullptr), nullptr);
}

TEST(NamedObjects, RandomUseAgainstAMap) {
    auto pSegment = std::make_unique<Segment>();
    std::mt19937 random(7);
    std::map<std::string, std::pair<int, unsigned char>> model;  // Name to size and fill.
    for (int i = 0; i < 20000; ++i) {
        chNamedObjectManager& manager = pSegment->manager();
        const std::string name(random() % 24, static_cast<char>('a' + random() % 4));
        auto* pFound = static_cast<unsigned char*>(manager.FindNamedObject(name));
        const auto known = model.find(name);
        ASSERT_EQ(pFound != nullptr, known != model.end()) << i;
        if (pFound != nullptr) {
            const auto [nSize, nFill] = known->second;
            for (int k = 0; k < nSize; ++k)
                ASSERT_EQ(pFound[k], nFill) << i;
            if (random() % 2) {
                manager.FreeNamedObject(name);
            } else {
                manager.FreeObject(pFound);
            }
            model.erase(known);
        } else {
            const int nSize = static_cast<int>(random() % 60);
            const auto nFill = static_cast<unsigned char>(random());
            void* p = manager.GetNamedObject(name, nSize, nullptr);
            if (p == nullptr) continue;
            std::memset(p, nFill, static_cast<std::size_t>(nSize));
            model[name] = {nSize, nFill};
        }
        if (i % 500 != 499) continue;
        const auto records = Reader(*pSegment).records();
        ASSERT_EQ(records.size(), model.size());
        auto pMoved = std::make_unique<Segment>();  // The same bytes at another address.
        pMoved->bytes = pSegment->bytes;
        pSegment = std::move(pMoved);
    }
}

TEST(NamedRegistry, FreeFunctionsUseTheProcessSegment) {
    ASSERT_EQ(nameHelperLock(), 1);
    ASSERT_EQ(nameHelperLock(), 1);
    bool bCreated = false;
    void* p = nameGetSystemObject("one", 16, &bCreated);
    EXPECT_TRUE(bCreated);
    EXPECT_EQ(nameGetSystemObject("one", 16, &bCreated), p);
    EXPECT_FALSE(bCreated);
    EXPECT_NE(nameGetSystemObject(nullptr, 16, nullptr), p);
    auto* pHelper = uCSystemNamedObjectHelper::getInstance();
    EXPECT_EQ(pHelper->GetSystemObject()->GetManager().FindNamedObject("one"), p);
    nameHelperUnlock();
    EXPECT_TRUE(pHelper->IsLockedByThisThread());
    nameHelperUnlock();
    EXPECT_FALSE(pHelper->IsLockedByThisThread());

    chMapFile_Local segment;  // Whoever opens the segment by its name sees the same bytes.
    EXPECT_EQ(segment.OpenMapFile("ipc_system_named", 8192), pHelper->GetSystemObject());
    EXPECT_FALSE(segment.IsCreateByMe());
    EXPECT_TRUE(static_cast<ipcObjectHeader*>(static_cast<void*>(pHelper->GetSystemObject()))
                    ->AssertHeader("ipc_system_named", 8192, 4099));
    segment.CloseMapFile();
}

TEST(NamedRegistry, AForeignSegmentIsToldAndUsedAsItIs) {
    chMapFile_Local foreign;
    void* pBlock = foreign.OpenMapFile("ipc_system_named", 8192);
    ASSERT_TRUE(foreign.IsCreateByMe()) << "needs a process of its own";
    std::memset(pBlock, 0, 8192);
    testing::internal::CaptureStderr();
    EXPECT_EQ(nameHelperLock(), 1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("ipc_system_named"), std::string::npos);
    EXPECT_EQ(uCSystemNamedObjectHelper::getInstance()->GetSystemObject(), pBlock);
    EXPECT_EQ(nameGetSystemObject("x", 8, nullptr), nullptr);  // An empty pool.
    nameHelperUnlock();
}

TEST(NamedRegistry, ManyThreadsShareCountersByName) {
    constexpr int nThreads = 4;
    constexpr int nRounds = 5000;
    std::atomic<bool> bGo{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < nThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!bGo)
                std::this_thread::yield();
            const std::string own = "own" + std::to_string(t);
            for (int i = 0; i < nRounds; ++i) {
                nameHelperLock();
                bool bCreated;
                auto* pCount = static_cast<std::int32_t*>(nameGetSystemObject("counter", 4, &bCreated));
                if (bCreated) *pCount = 0;
                ++*pCount;
                auto& manager = uCSystemNamedObjectHelper::getInstance()->GetSystemObject()->GetManager();
                if (i % 2 == 0) {
                    nameGetSystemObject(own.c_str(), 40, nullptr);
                } else {
                    manager.FreeNamedObject(own);
                }
                nameHelperUnlock();
            }
        });
    }
    bGo = true;
    for (auto& thread : threads)
        thread.join();
    nameHelperLock();
    EXPECT_EQ(*static_cast<std::int32_t*>(nameGetSystemObject("counter", 4, nullptr)), nThreads * nRounds);
    nameHelperUnlock();
}

TEST(NamedRegistry, AForkedChildFindsItFree) {
    ASSERT_EQ(nameHelperLock(), 1);
    nameHelperUnlock();
    std::atomic<bool> bStop{false};
    std::thread holder([&] {
        while (!bStop) {
            nameHelperLock();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            nameHelperUnlock();
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    for (int i = 0; i < 20; ++i) {
        const auto child = vdxtest::runInChild([] {
            alarm(20);
            const int nLocked = nameHelperLock();
            const bool bMade = nameGetSystemObject("of the child", 8, nullptr) != nullptr;
            nameHelperUnlock();
            return nLocked == 1 && bMade ? 0 : 1;
        });
        EXPECT_EQ(child.nStatus, 0) << i;
    }
    bStop = true;
    holder.join();
    nameHelperLock();  // The holder of the lock may fork, too: both sides still hold it.
    const auto child = vdxtest::runInChild([] {
        const bool bHeld = uCSystemNamedObjectHelper::getInstance()->IsLockedByThisThread();
        nameHelperUnlock();
        return bHeld && !uCSystemNamedObjectHelper::getInstance()->IsLockedByThisThread() ? 0 : 1;
    });
    EXPECT_EQ(child.exitCode(), 0);
    nameHelperUnlock();
    EXPECT_FALSE(uCSystemNamedObjectHelper::getInstance()->IsLockedByThisThread());
}

// Destroyed after the registry gave its segment back: it was made before.
struct LateUser {
    ~LateUser() {
        if (!bActive) return;
        const int nLocked = nameHelperLock();
        void* p = nameGetSystemObject("late", 8, nullptr);
        nameHelperUnlock();
        _exit(nLocked == 0 && p == nullptr ? 42 : 1);
    }
    bool bActive = false;
};
LateUser s_late;

TEST(NamedRegistry, AnswersLateUsersAtTheEndOfTheProcess) {
    const pid_t pid = fork();
    if (pid == 0) {
        s_late.bActive = true;
        nameHelperLock();
        nameGetSystemObject("early", 8, nullptr);
        nameHelperUnlock();
        std::exit(0);
    }
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    EXPECT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 42);
}

}  // namespace
