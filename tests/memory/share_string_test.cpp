// Self-relative pointers, shared texts, snapshots of safe pointers.
#include <array>
#include <atomic>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/share_string.h>

#include "support/threads.h"

namespace {

TEST(SharePointer, HoldsTheDistanceFromItself) {
    struct {
        share_pointer link;
        unsigned char bytes[8] = {};
        share_pointer other;
    } block;
    EXPECT_FALSE(block.link.hasData());
    EXPECT_EQ(block.link.pointer(), nullptr);
    EXPECT_TRUE(block.link == share_pointer(nullptr));
    block.link.setPointer(&block.bytes[3]);
    block.other = block.link;
    EXPECT_TRUE(block.other.hasData());
    EXPECT_EQ(block.other.pointer(), &block.bytes[3]);
    EXPECT_TRUE(block.other == block.link);
    EXPECT_TRUE(share_pointer(block.link) == block.link);
    std::int64_t words[3];
    std::memcpy(words, static_cast<void*>(&block), sizeof words);
    EXPECT_EQ(words[0], 11);
    EXPECT_EQ(words[2], 11 - 16);
    block.link.setPointer(nullptr);
    std::memcpy(words, static_cast<void*>(&block), sizeof words);
    EXPECT_EQ(words[0], -1);
    EXPECT_FALSE(block.link == block.other);
}

struct TextCell {
    explicit TextCell(std::string_view text) : bytes(baseShareTextA::bytes_for(text.size()) + 1) {
        record()->set_Text(text);
        view.set_Text(record());
    }
    // Odd on purpose: a record lies at any address.
    baseShareTextA* record() { return reinterpret_cast<baseShareTextA*>(&bytes[1]); }
    std::vector<unsigned char> bytes;
    baseShareStringA view;
};

TEST(ShareString, RecordBytesAndNone) {
    TextCell cell("ab");
    EXPECT_EQ(cell.bytes, (std::vector<unsigned char>{0, 2, 0, 0, 0, 'a', 'b', 0}));
    EXPECT_EQ(cell.view.get_Text(), cell.record());
    EXPECT_EQ(cell.view.length(), 2u);
    EXPECT_STREQ(cell.view.c_ptr(), "ab");
    cell.view.set_Text(nullptr);
    EXPECT_EQ(cell.view.get_Text(), nullptr);
    EXPECT_TRUE(cell.view.empty());
    EXPECT_EQ(cell.view.length(), 0u);
    EXPECT_EQ(cell.view.c_str(), szNULL);
    EXPECT_STREQ(szNULL, "");
    TextCell empty("");
    EXPECT_TRUE(empty.view.empty());
    EXPECT_TRUE(empty.view == cell.view);
    EXPECT_FALSE(empty.view < cell.view);
}

// Finding named blocks at random shows that the order is total.
TEST(ShareString, ShortTextsComeFirst) {
    TextCell a("z");
    TextCell b("ab");
    EXPECT_TRUE(a.view < b.view && b.view > a.view && a.view != b.view);
    EXPECT_FALSE(b.view < a.view || a.view > b.view || a.view == b.view);
}

TEST(PointerSnap, SeesOneRegistration) {
    std::array<int, 4> objects{};
    EXPECT_FALSE(chPointerSnap(&objects[0]).hasData());
    EXPECT_FALSE(chPointerSnap(nullptr).hasData());
    EXPECT_TRUE(chPointerSnap::addSafePointer(&objects[0]));
    const chPointerSnap first(&objects[0]);
    const chPointerSnap copy = first;
    EXPECT_TRUE(first.hasData());
    chPointerSnap::removeSafePointer(&objects[0]);
    EXPECT_FALSE(first.hasData());
    EXPECT_FALSE(chPointerSnap(&objects[0]).hasData());

    // The record may serve another address now; the old snapshot must not take it for its own.
    chPointerSnap::addSafePointer(&objects[1]);
    EXPECT_FALSE(first.hasData());
    chPointerSnap::addSafePointer(&objects[0]);
    const chPointerSnap second(&objects[0]);
    EXPECT_TRUE(second.hasData());
    EXPECT_FALSE(copy.hasData());

    chPointerSnap::addSafePointer(&objects[0]);  // Another object at the same place.
    EXPECT_FALSE(second.hasData());
    chPointerSnap::removeSafePointer(&objects[3]);
    EXPECT_TRUE(chPointerSnap(&objects[1]).hasData());
}

TEST(PointerSnap, SnapshotsOnOtherThreads) {
    int object = 0;
    std::atomic<bool> bStop{false};
    std::atomic<int> nWrong{0};
    vdxtest::runTogether(2, [&](int nThread) {
        for (int i = 0; nThread == 0 && i < 20000; ++i) {
            chPointerSnap::addSafePointer(&object);
            chPointerSnap::removeSafePointer(&object);
        }
        while (nThread == 1 && !bStop) {
            const chPointerSnap snap(&object);
            if (snap.hasData()) continue;
            if (snap.hasData()) ++nWrong;  // What has gone stays gone for this snapshot.
        }
        bStop = true;
    });
    EXPECT_EQ(nWrong, 0);
    EXPECT_FALSE(chPointerSnap(&object).hasData());
}

}  // namespace
