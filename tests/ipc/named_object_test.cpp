// The registry of named blocks: its bytes by an independent reader, its rules, its users.
#include <climits>
#include <cstring>
#include <map>
#include <new>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <vdx/named_object.h>

#include "memory/pool_shadow.h"
#include "support/calls.h"
#include "support/child.h"

namespace {

using namespace pooltest;

// A segment of our own, at an address that is a multiple of 4 only.
struct Segment {
    Segment() : bytes(8192 + 4, 0xCC) { new (at(0)) chSystemNamedObject; }
    unsigned char* at(int nOffset) { return bytes.data() + 4 + nOffset; }
    chSystemNamedObject& object() { return *reinterpret_cast<chSystemNamedObject*>(at(0)); }
    chNamedObjectManager& manager() { return object().GetManager(); }
    std::vector<unsigned char> bytes;
};

// No record in the list, and none of the pool's cells in use: they join to one.
void expectEmpty(Segment& segment) {
    EXPECT_EQ(wordsAt(segment.at(32), 2), (Words{0, 0}));
    EXPECT_EQ(segment.object().GetPool().alloc(8144 - 8), segment.at(56));
}

TEST(NamedSegment, BytesOfAnEmptyOneAndOfOneRecord) {
    Segment segment;
    // Size and type; the pool's size, place and list; the head of the records; one free cell and its node.
    EXPECT_EQ(wordsAt(segment.at(0), 9),
              (Words{8192 | 4099LL << 32, 8144 | 40LL << 32, 40, 40, 0, 0, INT64_MIN | 8144, -40, -40}));
    const ipcObjectHeader& header = segment.object().GetHeader();
    EXPECT_TRUE(header.AssertHeader("any", 8192, 4099));
    EXPECT_FALSE(header.AssertHeader("any", 8191, 4099) || header.AssertHeader("any", 8192, 4105));

    EXPECT_EQ(segment.manager().GetNamedObject("name", 10, nullptr), segment.at(80));
    // The head of the records, both links to the record at 56; its cell of 10 + 24 bytes, rounded, and 8; its
    // links and the name's text, whose cell follows at 92.
    EXPECT_EQ(wordsAt(segment.at(32), 6), (Words{24, 24, 44, -24, -24, 28}));
    EXPECT_EQ(wordsAt(segment.at(92), 1), Words{24});
    EXPECT_EQ(std::memcmp(segment.at(100), "\4\0\0\0name\0", 9), 0);
    EXPECT_EQ(*segment.at(80), 0xCC);                                  // Not cleared.
    void* p = segment.manager().GetNamedObject("longer", 8, nullptr);  // The greatest name stands first.
    EXPECT_EQ(segment.at(32) + wordsAt(segment.at(32), 1)[0] + 24, p);
    segment.manager().FreeNamedObject("name");
    EXPECT_EQ(wordsAt(segment.at(72), 1), Words{-1});
}

TEST(NamedObjects, SizesHaveBounds) {
    Segment segment;
    for (const int nSize : {0, -1, INT_MIN}) {
        auto* p = static_cast<char*>(segment.manager().GetNamedObject("small", nSize, nullptr));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(segment.object().GetPool().get_available_bytes(p - 24), 24);
        segment.manager().FreeObject(p);
    }
    for (const int nSize : {8144, INT_MAX - 24, INT_MAX})
        EXPECT_EQ(segment.manager().GetNamedObject("huge", nSize, nullptr), nullptr);
    EXPECT_EQ(segment.manager().GetNamedObject(std::string(8100, 'x'), 8, nullptr), nullptr);
    expectEmpty(segment);
}

TEST(NamedObjects, RandomUseAgainstAMap) {
    std::mt19937 random(7);
    Segment segment;
    std::map<std::string, std::string> known;  // Name and content of what is there.
    for (int i = 0; i < 20000; ++i) {
        // Any bytes are a name: of up to 20 that are alike but for one.
        std::string name(random() % 20, 'a');
        if (!name.empty()) name[random() % name.size()] = "a\0\xFF"[random() % 3];
        const std::string content(random() % 60, static_cast<char>(random()));
        chNamedObjectManager& manager = segment.manager();
        void* pFound = manager.FindNamedObject(name);
        ASSERT_EQ(pFound != nullptr, known.contains(name));
        bool bCreated = random() % 2;
        void* p = manager.GetNamedObject(name, static_cast<int>(content.size()), &bCreated);
        ASSERT_EQ(bCreated, pFound == nullptr && p != nullptr);
        if (bCreated) {
            std::memcpy(p, content.data(), content.size());
            known[name] = content;
        } else if (pFound != nullptr) {
            ASSERT_EQ(p, pFound);  // Kept: whatever its size.
            ASSERT_EQ(std::memcmp(p, known[name].data(), known[name].size()), 0);
            manager.FreeNamedObject(name);
            known.erase(name);
        }
        manager.FreeNamedObject("missing");
        manager.FreeObject(nullptr);
        if (i % 250 == 0) std::vector(segment.bytes).swap(segment.bytes);  // At another address.
    }
    for (const auto& [name, content] : known)
        segment.manager().FreeNamedObject(name);
    expectEmpty(segment);
}

TEST(NamedRegistry, FreeFunctionsUseTheProcessSegment) {
    auto* pHelper = uCSystemNamedObjectHelper::getInstance();
    EXPECT_TRUE(nameHelperLock() == 1 && nameHelperLock() == 1);
    void* p = nameGetSystemObject("one", 16, nullptr);
    EXPECT_EQ(pHelper->GetSystemObject()->GetManager().FindNamedObject("one"), p);
    EXPECT_NE(nameGetSystemObject(nullptr, 16, nullptr), nullptr);
    const auto unlock = [&] {
        for (const bool bHeld : {true, false}) {
            nameHelperUnlock();
            EXPECT_EQ(pHelper->IsLockedByThisThread(), bHeld);
        }
    };
    vdxtest::runInChild(unlock);  // The holder may fork: both sides still hold it.
    unlock();
}

TEST(NamedRegistry, AForeignSegmentIsToldAndUsedAsItIs) {
    chMapFile_Local foreign;
    void* pBlock = foreign.OpenMapFile("ipc_system_named", 8192);
    ASSERT_TRUE(foreign.IsCreateByMe()) << "needs a process of its own";
    std::memset(pBlock, 0, 8192);
    const std::string warning = vdxtest::printedBy([] {
        EXPECT_EQ(nameGetSystemObject("x", 8, nullptr), nullptr);  // An empty pool.
    });
    EXPECT_TRUE(warning.ends_with("ipc_system_named: not a segment of named objects\n")) << warning;
    EXPECT_EQ(uCSystemNamedObjectHelper::getInstance()->GetSystemObject(), pBlock);
}

TEST(NamedRegistry, AForkedChildFindsItFree) {
    const auto useRegistry = [] {
        nameHelperLock();
        const bool bMade = nameGetSystemObject("forked", 8, nullptr) != nullptr;
        nameHelperUnlock();
        return bMade;
    };
    // Has another lock; used apart, because waiting for it would hide the first.
    const auto useFile = [] { return chMapFile_Local().OpenMapFile("forked", 16) != nullptr; };
    ASSERT_TRUE(useRegistry());
    EXPECT_EQ(vdxtest::forkWhileBusy(50, useRegistry, useRegistry), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(50, useFile, useFile), 0);
}

TEST(NamedRegistry, AnswersLateUsersAtTheEndOfTheProcess) {
    const auto child = vdxtest::runInChild([] {
        std::atexit([] {  // Before the registry exists, so that it is called after the registry's end.
            _exit(nameHelperLock() == 0 && nameGetSystemObject("late", 8, nullptr) == nullptr ? 42 : 1);
        });
        uCSystemNamedObjectHelper::getInstance();
        std::exit(0);
        return 0;
    });
    EXPECT_EQ(child.exitCode(), 42);
}

}  // namespace
