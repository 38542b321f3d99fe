// Self-relative pointers, shared texts, snapshots of safe pointers.
#include <array>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/share_string.h>

#include "memory/pool_shadow.h"
#include "support/threads.h"

namespace {

TEST(SharePointer, HoldsTheDistanceFromItself) {
    struct {
        share_pointer link;
        unsigned char bytes[8] = {};
        share_pointer other, none;
    } block;
    EXPECT_TRUE(!block.link.hasData() && block.link == share_pointer(nullptr));
    block.link.setPointer(&block.bytes[3]);
    block.none = block.other = block.link;
    EXPECT_TRUE(block.other.hasData() && block.other.pointer() == &block.bytes[3]);
    EXPECT_TRUE(block.other == block.link && share_pointer(block.link) == block.link);
    block.none.setPointer(nullptr);
    EXPECT_FALSE(block.none == block.other);
    EXPECT_EQ(pooltest::wordsAt(&block, 4), (pooltest::Words{11, 0, 11 - 16, -1}));
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
    TextCell cell("ab"), shorter("z"), empty("");
    EXPECT_EQ(cell.bytes, (std::vector<unsigned char>{0, 2, 0, 0, 0, 'a', 'b', 0}));
    EXPECT_EQ(std::string_view(cell.view.c_ptr(), cell.view.length()), "ab");
    // Short texts come first. Finding named blocks at random shows that the order is total.
    EXPECT_TRUE(shorter.view < cell.view && cell.view > shorter.view && shorter.view != cell.view);
    EXPECT_FALSE(cell.view < shorter.view || shorter.view > cell.view || shorter.view == cell.view);
    cell.view.set_Text(nullptr);
    EXPECT_TRUE(cell.view.empty() && empty.view.empty() && !shorter.view.empty());
    EXPECT_TRUE(cell.view.c_str() == szNULL && *szNULL == 0);
    EXPECT_TRUE(empty.view == cell.view && !(empty.view < cell.view));
}

TEST(PointerSnap, SeesOneRegistration) {
    std::array<int, 2> objects{};
    const auto isSeen = [](const void* p) { return chPointerSnap(p).hasData(); };
    EXPECT_FALSE(isSeen(&objects[0]) || isSeen(nullptr));
    EXPECT_TRUE(chPointerSnap::addSafePointer(&objects[0]));
    const chPointerSnap first(&objects[0]);
    EXPECT_TRUE(first.hasData());
    chPointerSnap::removeSafePointer(&objects[0]);
    EXPECT_FALSE(first.hasData() || isSeen(&objects[0]));

    // The record may serve another address now; the old snapshot must not take it for its own.
    chPointerSnap::addSafePointer(&objects[1]);
    chPointerSnap::addSafePointer(&objects[0]);
    const chPointerSnap second(&objects[0]), copy = second;
    EXPECT_TRUE(copy.hasData() && !first.hasData());
    chPointerSnap::addSafePointer(&objects[0]);  // Another object at the same place.
    EXPECT_FALSE(second.hasData() || copy.hasData());
    EXPECT_TRUE(isSeen(&objects[0]) && isSeen(&objects[1]));
}

TEST(PointerSnap, ManyThreadsWithOneAddress) {
    int object = 0;
    vdxtest::runTogether(3, [&](int) {
        for (int i = 0; i < 10000; ++i) {
            chPointerSnap::addSafePointer(&object);
            const chPointerSnap snap(&object);
            const bool bGone = !snap.hasData();
            chPointerSnap::removeSafePointer(&object);
            EXPECT_FALSE(bGone && snap.hasData());  // What has gone stays gone for this snapshot.
        }
    });
    EXPECT_FALSE(chPointerSnap(&object).hasData());
}

}  // namespace
