// Self-relative pointers, shared texts, snapshots of safe pointers.
#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/share_string.h>

#include "memory/text_order.h"

namespace {

TEST(SharePointer, HoldsTheDistanceFromItself) {
    struct {
        share_pointer link;
        unsigned char bytes[8] = {};
        share_pointer other;
    } block;
    block.link.setPointer(&block.bytes[3]);
    std::int64_t nStored;
    std::memcpy(&nStored, static_cast<void*>(&block.link), sizeof nStored);
    EXPECT_EQ(nStored, 11);
    block.other = block.link;
    EXPECT_EQ(block.other.offset(), 11 - 16);
    EXPECT_EQ(block.other.pointer(), &block.bytes[3]);
    EXPECT_TRUE(block.other == block.link);
    const share_pointer copy(block.link);
    EXPECT_TRUE(copy == block.link);
    block.link.setPointer(nullptr);
    std::memcpy(&nStored, static_cast<void*>(&block.link), sizeof nStored);
    EXPECT_EQ(nStored, -1);
    EXPECT_FALSE(block.link == block.other);
}

TEST(SharePointer, NullHasNoData) {
    const share_pointer a(nullptr);
    const share_pointer b;
    EXPECT_FALSE(a.hasData());
    EXPECT_EQ(a.pointer(), nullptr);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(share_pointer(&a).hasData());
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

TEST(ShareString, RecordBytes) {
    TextCell cell("ab");
    EXPECT_EQ(cell.bytes, (std::vector<unsigned char>{0, 2, 0, 0, 0, 'a', 'b', 0}));
    EXPECT_EQ(cell.view.get_Text(), cell.record());
    EXPECT_EQ(cell.view.length(), 2u);
    EXPECT_STREQ(cell.view.c_str(), "ab");
    EXPECT_EQ(cell.view.c_ptr(), cell.view.c_str());
}

TEST(ShareString, NullIsTheEmptyText) {
    baseShareStringA none;
    EXPECT_EQ(none.get_Text(), nullptr);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none.length(), 0u);
    EXPECT_EQ(none.c_str(), szNULL);
    EXPECT_STREQ(none.c_str(), "");
    TextCell empty("");
    EXPECT_TRUE(empty.view.empty());
    EXPECT_TRUE(empty.view == none);
    EXPECT_FALSE(empty.view < none);
    none.set_Text(empty.record());
    none.set_Text(nullptr);
    EXPECT_EQ(none.get_Text(), nullptr);
}

TEST(ShareString, OrderIsTotal) {
    using namespace std::string_view_literals;
    const std::string_view texts[] = {""sv,          "a"sv,         "b"sv,        "\xFF"sv,     "a\0a"sv,
                                      "a\0b"sv,      "abcdefg"sv,   "abcdefgh"sv, "abcdefgi"sv, "bbcdefgh"sv,
                                      "abcdefghi"sv, "abcdefghj"sv, "bbcdefghi"sv};
    for (const auto left : texts) {
        for (const auto right : texts) {
            TextCell a(left);
            TextCell b(right);
            EXPECT_EQ(a.view == b.view, left == right);
            EXPECT_EQ(a.view != b.view, left != right);
            EXPECT_EQ(a.view<b.view, b.view> a.view);
            EXPECT_EQ((a.view < b.view) + (a.view > b.view) + (a.view == b.view), 1);
            for (const auto third : texts) {
                if (vdx::compareTexts(left, right) < 0 && vdx::compareTexts(right, third) < 0) {
                    EXPECT_LT(vdx::compareTexts(left, third), 0);
                }
            }
        }
    }
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
    EXPECT_FALSE(first.hasData());
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
    std::thread watcher([&] {
        while (!bStop) {
            const chPointerSnap snap(&object);
            if (snap.hasData()) continue;
            if (snap.hasData()) ++nWrong;  // What has gone stays gone for this snapshot.
        }
    });
    for (int i = 0; i < 20000; ++i) {
        chPointerSnap::addSafePointer(&object);
        chPointerSnap::removeSafePointer(&object);
    }
    bStop = true;
    watcher.join();
    EXPECT_EQ(nWrong, 0);
    EXPECT_FALSE(chPointerSnap(&object).hasData());
}

}  // namespace
