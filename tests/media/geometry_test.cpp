// Points, sizes and rectangles.
#include <climits>

#include <gtest/gtest.h>

#include <vdx/geometry.h>

std::ostream& operator<<(std::ostream& out, const chRect& r) {
    return out << '(' << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ')';
}

namespace {

TEST(chPoint, MovesAndNegatesWithWrapping) {
    chPoint p(1, INT_MAX);
    p.OffsetPoint(-3, 1);
    EXPECT_EQ(p, chPoint(-2, INT_MIN));
    EXPECT_EQ(-p, chPoint(2, INT_MIN));
    EXPECT_EQ(-chSize(3, INT_MIN), chSize(-3, INT_MIN));
    chPointF f(0.5, 1.0);
    f.OffsetPoint(0.25, -2.0);
    EXPECT_EQ(-f, chPointF(-0.75, 1.0));
}

TEST(chRect, Measures) {
    const chRect r(chPoint(-3, 4), chSize(10, 20));
    EXPECT_EQ(r, chRect(-3, 4, 7, 24));
    EXPECT_EQ(r.Size(), chSize(10, 20));
    EXPECT_EQ(r.TopLeft(), chPoint(-3, 4));
    EXPECT_EQ(r.BottomRight(), chPoint(7, 24));
    EXPECT_EQ(chRect(-3, -3, 0, 6).CenterPoint(), chPoint(-1, 1)) << "towards zero";
    EXPECT_EQ(chRect(INT_MAX, 0, INT_MAX, 0).CenterPoint(), chPoint(-1, 0)) << "the sum wraps";
    EXPECT_TRUE(r.IsSameSize(chRect(0, 0, 10, 20)));
    EXPECT_FALSE(r.IsSameSize(chRect(0, 0, 20, 10)));
    for (const chRect& full : {chRect(0, 0, 1, 1), chRect(INT_MIN, 0, INT_MAX, 1)})
        EXPECT_FALSE(full.empty()) << full << ", though its width may wrap to -1";
    for (const chRect& none : {chRect(0, 0, 1, 0), chRect(5, 0, 4, 1), chRect(INT_MAX, 0, INT_MIN, 1)})
        EXPECT_TRUE(none.empty()) << none << ", though its width may wrap to 1";
}

// The functions that return copies call the members of the same name.
TEST(chRect, Changes) {
    chRect r = InflateRect(rectLTWH(10, 20, 20, 30), 1, 2, 3, 4);
    r = OffsetRect(DeflateRect(r, 10, 20, 30, 40), -100, 200);
    EXPECT_EQ(r, chRect(-81, 238, -97, 214));
    EXPECT_EQ(Resize(r, 1, -2), chRect(-81, 238, -80, 236));
    EXPECT_EQ(ResizeHeight(ResizeWidth(r, 3), 4), chRect(-81, 238, -78, 242));
    EXPECT_EQ(OffsetRect(r, INT_MIN, 0).left, INT_MAX - 80);
    r.InflateRect(1, 2);
    r.DeflateRect(10, 20);
    r.OffsetRect(chSize(-1, 2));
    EXPECT_EQ(r, chRect(-73, 258, -107, 198));
    r.SetRect(1, 2, 3, 4);
    EXPECT_EQ(r, chRect(1, 2, 3, 4));
    r.SetEmpty();
    EXPECT_EQ(r, chRect());
}

TEST(chRect, Combinations) {
    const chRect r(0, 0, 10, 10);
    const struct {
        chRect left, right, intersection, around;
    } rows[] = {
        {r, {5, -1, 15, 5}, {5, 0, 10, 5}, {0, -1, 15, 10}},
        {r, {20, 20, 30, 30}, {20, 20, 10, 10}, {0, 0, 30, 30}},
        {{0, 0, 0, 0}, {5, 5, 8, 8}, {5, 5, 0, 0}, {5, 5, 8, 8}},
        {{1, 1, 4, 4}, {2, 2, 2, 9}, {2, 2, 2, 4}, {1, 1, 4, 4}},
        {{9, 9, 1, 1}, {3, 3, 2, 2}, {9, 9, 1, 1}, {3, 3, 2, 2}},  // Both empty: the other.
    };
    for (const auto& row : rows) {
        chRect both = row.left, around = row.left;
        EXPECT_EQ(both &= row.right, row.intersection);
        EXPECT_EQ(around |= row.right, row.around);
    }
    EXPECT_EQ(r + chSize(5, 6), chRect(0, 0, 15, 16)) << "kept: a size grows";
    EXPECT_EQ(r + chPoint(5, 6), chRect(5, 6, 15, 16)) << "and a point moves";
    for (int y = -1; y <= 10; ++y)
        for (int x = -1; x <= 10; ++x)
            EXPECT_EQ(r.PtInRect({x, y}), x >= 0 && x < 10 && y >= 0 && y < 10) << x << ' ' << y;
}

}  // namespace
