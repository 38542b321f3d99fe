// The registry of named blocks: its bytes by an independent reader, its rules, its users.
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <vdx/named_object.h>

#include "memory/pool_shadow.h"
#include "support/child.h"
#include "support/threads.h"

namespace {

using Words = std::vector<std::int64_t>;

// A segment of our own, at an address that is a multiple of 4 only.
struct Segment {
    Segment() : bytes(8192 + 4, 0xCC) { new (bytes.data() + 4) chSystemNamedObject; }
    chSystemNamedObject& object() { return *reinterpret_cast<chSystemNamedObject*>(bytes.data() + 4); }
    chNamedObjectManager& manager() { return object().GetManager(); }
    std::vector<unsigned char> bytes;
};

// Reads the segment by offsets alone: the list's head lies at 32, the pool's cells begin at 48.
class Reader : public pooltest::Image {
public:
    explicit Reader(const Segment& segment) : Image(std::span(segment.bytes).subspan(4)) {}

    // The names; the list is checked both ways, and that its cells are all the cells in use.
    std::set<std::string> names() const {
        std::set<std::string> found;
        std::map<std::int64_t, int> cells;
        for (std::int64_t nRecord = next(32), nBefore = 32; nRecord != 32; nRecord = next(nRecord)) {
            EXPECT_EQ(prev(nRecord), nBefore);
            nBefore = nRecord;
            cells[nRecord] = 24;
            std::string name;
            if (read<std::int64_t>(nRecord + 16) != -1) {
                const std::int64_t nText = next(nRecord + 16);
                const int nLength = cells[nText] = read<std::int32_t>(nText);
                for (std::int64_t i = 0; i < nLength; ++i)
                    name += read<char>(nText + 4 + i);
                cells[nText] += 5;
                EXPECT_EQ(read<char>(nText + 4 + nLength), 0) << name;
            }
            if (!found.insert(name).second) throw std::logic_error("twice: " + name);
        }
        EXPECT_EQ(pooltest::findFault(*this, cells), "");
        return found;
    }
};

TEST(NamedSegment, BytesOfAnEmptyOneAndOfOneRecord) {
    Segment segment;
    const Reader reader(segment);
    // Size and type; the pool's size, place and list; the head of the records; one free cell and its node.
    const Words empty{8192 | 4099LL << 32, 8144 | 40LL << 32, 40, 40, 0, 0, INT64_MIN | 8144, -40, -40};
    EXPECT_EQ(reader.words(0, 72), empty);
    EXPECT_EQ(segment.bytes[4 + 72], 0xCC);

    void* p = segment.manager().GetNamedObject("name", 10, nullptr);
    EXPECT_EQ(p, segment.bytes.data() + 4 + 80);
    // The head of the records, both links to the record at 56; its cell of 10 + 24 bytes, rounded, and 8; its
    // links and the name's text, whose cell follows at 92.
    EXPECT_EQ(reader.words(32, 80), (Words{24, 24, 44, -24, -24, 28}));
    EXPECT_EQ(reader.words(92, 100), Words{24});
    EXPECT_EQ(std::memcmp(segment.bytes.data() + 4 + 100, "\4\0\0\0name\0", 9), 0);
    EXPECT_EQ(segment.bytes[4 + 80], 0xCC);  // Not cleared.
    segment.manager().FreeNamedObject("name");
    EXPECT_EQ(reader.words(32, 48), (Words{0, 0}));
    EXPECT_EQ(reader.words(72, 80), Words{-1});

    segment.manager().GetNamedObject("", 10, nullptr);  // The empty name has no text.
    EXPECT_EQ(reader.words(72, 80), Words{-1});

    p = segment.manager().GetNamedObject("b", 8, nullptr);  // The greatest name stands first.
    EXPECT_EQ(segment.bytes.data() + 4 + reader.next(32) + 24, p);

    EXPECT_TRUE(segment.object().GetHeader().AssertHeader("any", 8192, 4099));
    EXPECT_FALSE(segment.object().GetHeader().AssertHeader("any", 8191, 4099));
    EXPECT_FALSE(segment.object().GetHeader().AssertHeader("any", 8192, 4105));
}

TEST(NamedObjects, SizesHaveBounds) {
    Segment segment;
    for (const int nSize : {0, -1, INT_MIN}) {
        void* p = segment.manager().GetNamedObject("n" + std::to_string(nSize), nSize, nullptr);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(segment.object().GetPool().get_available_bytes(static_cast<char*>(p) - 24), 24);
    }
    bool bCreated = true;
    for (const int nSize : {8144, INT_MAX - 24, INT_MAX}) {
        EXPECT_EQ(segment.manager().GetNamedObject("huge", nSize, &bCreated), nullptr);
        EXPECT_FALSE(bCreated);
    }
    EXPECT_EQ(segment.manager().GetNamedObject(std::string(8100, 'x'), 8, nullptr), nullptr);
    EXPECT_EQ(Reader(segment).names().size(), 3u);
}

// A step finds and frees, or makes, while a map (name to content) tells what must be there.
void useAtRandom(std::mt19937& random, chNamedObjectManager& manager,
                 std::map<std::string, std::string>& known) {
    // Any bytes are a name: of up to 20 that are alike but for one.
    std::string name(random() % 20, 'a');
    if (!name.empty()) name[random() % name.size()] = "a\0\xFF"[random() % 3];
    const auto expected = known.find(name);
    void* pFound = manager.FindNamedObject(name);
    ASSERT_EQ(pFound != nullptr, expected != known.end());
    std::string content(random() % 60, static_cast<char>(random()));
    bool bCreated = random() % 2;
    void* p = manager.GetNamedObject(name, static_cast<int>(content.size()), &bCreated);
    ASSERT_EQ(bCreated, pFound == nullptr && p != nullptr);
    if (bCreated) {
        std::memcpy(p, content.data(), content.size());
        known[name] = content;
    } else if (pFound != nullptr) {
        ASSERT_EQ(p, pFound);  // Kept: whatever its size.
        ASSERT_EQ(manager.GetNamedObject(name, 5000, nullptr), p);
        ASSERT_EQ(std::string(static_cast<char*>(p), expected->second.size()), expected->second);
        manager.FreeNamedObject(name);
        known.erase(expected);
    }
}

TEST(NamedObjects, RandomUseAgainstAMap) {
    std::mt19937 random(7);
    std::map<std::string, std::string> known;
    auto pSegment = std::make_unique<Segment>();
    for (int i = 0; i < 20000; ++i) {
        ASSERT_NO_FATAL_FAILURE(useAtRandom(random, pSegment->manager(), known)) << i;
        pSegment->manager().FreeNamedObject("missing");
        pSegment->manager().FreeObject(nullptr);
        if (i % 500 != 499) continue;
        ASSERT_EQ(Reader(*pSegment).names().size(), known.size()) << i;
        auto pMoved = std::make_unique<Segment>();  // The same bytes at another address.
        pMoved->bytes = pSegment->bytes;
        pSegment = std::move(pMoved);
    }
}

TEST(NamedRegistry, FreeFunctionsUseTheProcessSegment) {
    auto* pHelper = uCSystemNamedObjectHelper::getInstance();
    ASSERT_EQ(nameHelperLock(), 1);
    ASSERT_EQ(nameHelperLock(), 1);
    void* p = nameGetSystemObject("one", 16, nullptr);
    EXPECT_EQ(pHelper->GetSystemObject()->GetManager().FindNamedObject("one"), p);
    EXPECT_NE(nameGetSystemObject(nullptr, 16, nullptr), nullptr);
    nameHelperUnlock();
    EXPECT_TRUE(pHelper->IsLockedByThisThread());
    nameHelperUnlock();
    EXPECT_FALSE(pHelper->IsLockedByThisThread());

    chMapFile_Local segment;  // Whoever opens the segment by its name sees the same bytes.
    EXPECT_EQ(segment.OpenMapFile("ipc_system_named", 8192), pHelper->GetSystemObject());
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

TEST(NamedRegistry, ManyThreadsShareACounterByName) {
    int nLast = 0;
    vdxtest::runTogether(4, [&](int nThread) {
        const std::string own = "own" + std::to_string(nThread);
        for (int i = 0; i < 5000; ++i) {
            nameHelperLock();
            bool bCreated;
            auto* pCount = static_cast<std::int32_t*>(nameGetSystemObject("counter", 4, &bCreated));
            if (bCreated) *pCount = 0;
            nLast = ++*pCount;
            nameGetSystemObject(own.c_str(), 40, nullptr);
            uCSystemNamedObjectHelper::getInstance()->GetSystemObject()->GetManager().FreeNamedObject(own);
            nameHelperUnlock();
        }
    });
    EXPECT_EQ(nLast, 20000);
}

TEST(NamedRegistry, AForkedChildFindsItFree) {
    ASSERT_EQ(nameHelperLock(), 1);
    nameHelperUnlock();
    const auto useRegistry = [] {
        const int nLocked = nameHelperLock();
        const bool bMade = nameGetSystemObject("forked", 8, nullptr) != nullptr;
        nameHelperUnlock();
        return nLocked == 1 && bMade;
    };
    const auto useFile = [] {
        chMapFile_Local file;  // Has another lock; used apart, because waiting for it would hide the first.
        const bool bOpen = file.OpenMapFile("forked", 16) != nullptr;
        file.CloseMapFile();
        return bOpen;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(50, useRegistry, useRegistry), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(50, useFile, useFile), 0);

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
        if (bActive)
            _exit(nameHelperLock() == 0 && nameGetSystemObject("late", 8, nullptr) == nullptr ? 42 : 1);
    }
    bool bActive = false;
};
LateUser s_late;

TEST(NamedRegistry, AnswersLateUsersAtTheEndOfTheProcess) {
    const auto child = vdxtest::runInChild([] {
        s_late.bActive = true;
        nameHelperLock();
        nameHelperUnlock();
        std::exit(0);
        return 0;
    });
    EXPECT_EQ(child.exitCode(), 42);
}

}  // namespace
