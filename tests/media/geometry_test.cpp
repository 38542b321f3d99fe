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
    EXPECT_NE(chPoint(), chPoint(0, 1));
    EXPECT_EQ(-chSize(3, INT_MIN), chSize(-3, INT_MIN));
    EXPECT_NE(chSize(1, 0), chSize());
    chPointF f(0.5, 1.0);
    f.OffsetPoint(0.25, -2.0);
    EXPECT_EQ(-f, chPointF(-0.75, 1.0));
    EXPECT_NE(chPointF(0.1 + 0.2, 0), chPointF(0.3, 0));
}

TEST(chRect, Measures) {
    const chRect r(chPoint(-3, 4), chSize(10, 20));
    EXPECT_EQ(r, chRect(-3, 4, 7, 24));
    EXPECT_EQ(r.Size(), chSize(10, 20));
    EXPECT_EQ(r.TopLeft(), chPoint(-3, 4));
    EXPECT_EQ(r.BottomRight(), chPoint(7, 24));
    EXPECT_EQ(chRect(10, 10, 0, 5).Size(), chSize(-10, -5));
    EXPECT_EQ(chRect(-3, -3, 0, 0).CenterPoint(), chPoint(-1, -1));
    EXPECT_EQ(chRect(1, 1, 2, 4).CenterPoint(), chPoint(1, 2));
    EXPECT_EQ(chRect(INT_MAX, 0, INT_MAX, 0).CenterPoint(), chPoint(-1, 0));  // The sum wraps.
    EXPECT_TRUE(r.IsSameSize(chRect(0, 0, 10, 20)));
    EXPECT_FALSE(r.IsSameSize(chRect(0, 0, 20, 10)));
}

TEST(chRect, EmptyLooksAtEdgesNotAtWidths) {
    const struct {
        chRect r;
        bool bEmpty;
    } rows[] = {{{}, true},
                {{0, 0, 1, 1}, false},
                {{0, 0, 1, 0}, true},
                {{0, 0, 0, 1}, true},
                {{5, 0, 4, 1}, true},
                {{INT_MIN, 0, INT_MAX, 1}, false},  // A width of -1 by wrapping.
                {{INT_MAX, 0, INT_MIN, 1}, true}};  // A width of 1 by wrapping.
    for (const auto& row : rows)
        EXPECT_EQ(row.r.empty(), row.bEmpty) << row.r;
}

TEST(chRect, PointsInside) {
    const chRect r(0, 0, 10, 10);
    const struct {
        chPoint p;
        bool bInside;
    } rows[] = {{{0, 0}, true},   {{9, 9}, true},   {{10, 5}, false},
                {{5, 10}, false}, {{-1, 5}, false}, {{5, -1}, false}};
    for (const auto& row : rows)
        EXPECT_EQ(r.PtInRect(row.p), row.bInside) << row.p.x << ' ' << row.p.y;
}

TEST(chRect, Changes) {
    chRect r;
    const auto after = [&r](auto change) {
        r.SetRect(10, 20, 30, 50);
        change();
        return r;
    };
    EXPECT_EQ(after([&] { r.SetEmpty(); }), chRect());
    EXPECT_EQ(after([&] { r.Resize(1, -2); }), chRect(10, 20, 11, 18));
    EXPECT_EQ(after([&] { r.ResizeWidth(5); }), chRect(10, 20, 15, 50));
    EXPECT_EQ(after([&] { r.ResizeHeight(5); }), chRect(10, 20, 30, 25));
    EXPECT_EQ(after([&] { r.InflateRect(1, 2); }), chRect(9, 18, 31, 52));
    EXPECT_EQ(after([&] { r.InflateRect(1, 2, 3, 4); }), chRect(9, 18, 33, 54));
    EXPECT_EQ(after([&] { r.DeflateRect(1, 2); }), chRect(11, 22, 29, 48));
    EXPECT_EQ(after([&] { r.DeflateRect(1, 2, 3, 4); }), chRect(11, 22, 27, 46));
    EXPECT_EQ(after([&] { r.OffsetRect(1, -2); }), chRect(11, 18, 31, 48));
    EXPECT_EQ(after([&] { r.OffsetRect(chSize(-1, 2)); }), chRect(9, 22, 29, 52));
    EXPECT_EQ(after([&] { r &= chRect(15, 0, 99, 40); }), chRect(15, 20, 30, 40));
    EXPECT_EQ(after([&] { r |= chRect(15, 0, 99, 40); }), chRect(10, 0, 99, 50));
    EXPECT_EQ(after([&] { r.OffsetRect(INT_MAX, 0); }).left, INT_MIN + 9);
}

TEST(chRect, Combinations) {
    EXPECT_EQ(chRect(0, 0, 10, 10) & chRect(20, 20, 30, 30), chRect(20, 20, 10, 10));
    EXPECT_EQ(chRect(0, 0, 0, 0) | chRect(5, 5, 8, 8), chRect(5, 5, 8, 8));
    EXPECT_EQ(chRect(1, 1, 4, 4) | chRect(2, 2, 2, 9), chRect(1, 1, 4, 4));
    EXPECT_EQ(chRect(9, 9, 1, 1) | chRect(3, 3, 2, 2), chRect(3, 3, 2, 2));  // Both empty: the other.
    EXPECT_EQ(chRect(0, 0, 10, 10) + chSize(5, 6), chRect(0, 0, 15, 16));
    EXPECT_EQ(chRect(0, 0, 10, 10) + chPoint(5, 6), chRect(5, 6, 15, 16));
}

TEST(chRect, ChangedCopies) {
    const chRect r(10, 20, 30, 50);
    EXPECT_EQ(rectLTWH(1, 2, 3, 4), chRect(1, 2, 4, 6));
    EXPECT_EQ(InflateRect(r, 1, 2, 3, 4), chRect(9, 18, 33, 54));
    EXPECT_EQ(DeflateRect(r, 1, 2, 3, 4), chRect(11, 22, 27, 46));
    EXPECT_EQ(Resize(r, 1, 2), chRect(10, 20, 11, 22));
    EXPECT_EQ(ResizeWidth(r, 1), chRect(10, 20, 11, 50));
    EXPECT_EQ(ResizeHeight(r, 1), chRect(10, 20, 30, 21));
    EXPECT_EQ(OffsetRect(r, 1, 2), chRect(11, 22, 31, 52));
    EXPECT_EQ(r, chRect(10, 20, 30, 50));
}

}  // namespace
