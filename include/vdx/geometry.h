// Integer points, sizes and rectangles, and a floating-point point.
#pragma once

#include <cstdint>

// Example:
//   chRect screen(0, 0, 1920, 1080);
//   chRect window = rectLTWH(nLeft, 100, 640, 480) & screen;
//   if (!window.empty()) draw(window, window.CenterPoint());
//
// Plain values without rules of their own: a rectangle may be inverted (right left
// of left, bottom above top). Its right and bottom edges lie outside it. Integer
// arithmetic wraps at the ends of 32 bits; nothing is checked.
//
// Thread-safety: as of any plain value.

namespace vdx_geometry {

// Arithmetic that wraps, which signed integers do not do by themselves.
constexpr std::int32_t sum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
constexpr std::int32_t difference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
constexpr std::int32_t lesser(std::int32_t a, std::int32_t b) {
    return a < b ? a : b;
}
constexpr std::int32_t greater(std::int32_t a, std::int32_t b) {
    return a < b ? b : a;
}

}  // namespace vdx_geometry

// A point on the screen.
class chPoint {
public:
    std::int32_t x = 0;  // To the right.
    std::int32_t y = 0;  // Downwards.

    constexpr chPoint() = default;
    // A point from its members.
    constexpr chPoint(std::int32_t nX, std::int32_t nY) : x(nX), y(nY) {}

    // Adds to both members.
    constexpr void OffsetPoint(std::int32_t dx, std::int32_t dy) {
        x = vdx_geometry::sum(x, dx);
        y = vdx_geometry::sum(y, dy);
    }

    // Both members negated.
    constexpr chPoint operator-() const {
        return {vdx_geometry::difference(0, x), vdx_geometry::difference(0, y)};
    }
    constexpr bool operator==(const chPoint&) const = default;
};

// A width and a height.
class chSize {
public:
    std::int32_t cx = 0;  // The width.
    std::int32_t cy = 0;  // The height.

    constexpr chSize() = default;
    // A size from its members.
    constexpr chSize(std::int32_t nWidth, std::int32_t nHeight) : cx(nWidth), cy(nHeight) {}

    // Both members negated.
    constexpr chSize operator-() const {
        return {vdx_geometry::difference(0, cx), vdx_geometry::difference(0, cy)};
    }
    constexpr bool operator==(const chSize&) const = default;
};

// A point of floating-point numbers. Comparing is exact.
class chPointF {
public:
    double x = 0;  // To the right.
    double y = 0;  // Downwards.

    constexpr chPointF() = default;
    // A point from its members.
    constexpr chPointF(double fX, double fY) : x(fX), y(fY) {}

    // Adds to both members.
    constexpr void OffsetPoint(double dx, double dy) {
        x += dx;
        y += dy;
    }

    // Both members negated.
    constexpr chPointF operator-() const { return {-x, -y}; }
    constexpr bool operator==(const chPointF&) const = default;
};

// A rectangle from (left, top) up to, and without, (right, bottom).
class chRect {
public:
    std::int32_t left = 0;    // Inside.
    std::int32_t top = 0;     // Inside.
    std::int32_t right = 0;   // Outside.
    std::int32_t bottom = 0;  // Outside.

    constexpr chRect() = default;
    // From its four edges.
    constexpr chRect(std::int32_t l, std::int32_t t, std::int32_t r, std::int32_t b)
        : left(l), top(t), right(r), bottom(b) {}
    // From its top left corner and its size.
    constexpr chRect(const chPoint& p, const chSize& s) : left(p.x), top(p.y) { Resize(s.cx, s.cy); }

    // --- Measures ---------------------------------------------------------------

    // Negative for an inverted rectangle.
    constexpr std::int32_t Width() const { return vdx_geometry::difference(right, left); }
    constexpr std::int32_t Height() const { return vdx_geometry::difference(bottom, top); }
    constexpr chSize Size() const { return {Width(), Height()}; }

    // Two opposite corners; the bottom right one lies outside.
    constexpr chPoint TopLeft() const { return {left, top}; }
    constexpr chPoint BottomRight() const { return {right, bottom}; }

    // Half the sums of the edges, rounded towards zero (not towards the left).
    constexpr chPoint CenterPoint() const {
        return {vdx_geometry::sum(left, right) / 2, vdx_geometry::sum(top, bottom) / 2};
    }

    // Whether no point lies inside: an edge at or beyond its opposite.
    constexpr bool empty() const { return right <= left || bottom <= top; }

    // The left and top edges lie inside, the right and bottom ones outside.
    constexpr bool PtInRect(const chPoint& p) const {
        return left <= p.x && p.x < right && top <= p.y && p.y < bottom;
    }

    // Whether width and height are those of the other.
    constexpr bool IsSameSize(const chRect& o) const { return Size() == o.Size(); }
    constexpr bool operator==(const chRect&) const = default;

    // --- Changes ----------------------------------------------------------------

    // Sets all edges.
    constexpr void SetRect(std::int32_t l, std::int32_t t, std::int32_t r, std::int32_t b) {
        *this = chRect(l, t, r, b);
    }
    // Sets all edges to 0.
    constexpr void SetEmpty() { *this = chRect(); }

    // Move the right and bottom edges; left and top stay.
    constexpr void ResizeWidth(std::int32_t w) { right = vdx_geometry::sum(left, w); }
    constexpr void ResizeHeight(std::int32_t h) { bottom = vdx_geometry::sum(top, h); }
    constexpr void Resize(std::int32_t w, std::int32_t h) {
        ResizeWidth(w);
        ResizeHeight(h);
    }

    // Moves each edge outwards by its number.
    constexpr void InflateRect(std::int32_t l, std::int32_t t, std::int32_t r, std::int32_t b) {
        left = vdx_geometry::difference(left, l);
        top = vdx_geometry::difference(top, t);
        right = vdx_geometry::sum(right, r);
        bottom = vdx_geometry::sum(bottom, b);
    }
    // The same by dx to the left and the right, dy up and down.
    constexpr void InflateRect(std::int32_t dx, std::int32_t dy) { InflateRect(dx, dy, dx, dy); }

    // Moves each edge inwards by its number.
    constexpr void DeflateRect(std::int32_t l, std::int32_t t, std::int32_t r, std::int32_t b) {
        left = vdx_geometry::sum(left, l);
        top = vdx_geometry::sum(top, t);
        right = vdx_geometry::difference(right, r);
        bottom = vdx_geometry::difference(bottom, b);
    }
    // The same by dx from the left and the right, dy from above and below.
    constexpr void DeflateRect(std::int32_t dx, std::int32_t dy) { DeflateRect(dx, dy, dx, dy); }

    // Moves the whole rectangle.
    constexpr void OffsetRect(std::int32_t dx, std::int32_t dy) {
        left = vdx_geometry::sum(left, dx);
        top = vdx_geometry::sum(top, dy);
        right = vdx_geometry::sum(right, dx);
        bottom = vdx_geometry::sum(bottom, dy);
    }
    // The same by a width and a height.
    constexpr void OffsetRect(const chSize& s) { OffsetRect(s.cx, s.cy); }

    // --- Combinations -----------------------------------------------------------

    // A copy moved by a point.
    constexpr chRect operator+(const chPoint& p) const {
        chRect result = *this;
        result.OffsetRect(p.x, p.y);
        return result;
    }

    // Kept: a copy GROWN by a size, on the right and the bottom; only a point moves.
    constexpr chRect operator+(const chSize& s) const {
        return {left, top, vdx_geometry::sum(right, s.cx), vdx_geometry::sum(bottom, s.cy)};
    }

    // Intersection; of disjoint rectangles an inverted one, which is empty.
    constexpr chRect operator&(const chRect& o) const {
        return {vdx_geometry::greater(left, o.left), vdx_geometry::greater(top, o.top),
                vdx_geometry::lesser(right, o.right), vdx_geometry::lesser(bottom, o.bottom)};
    }
    // Becomes the intersection.
    constexpr chRect& operator&=(const chRect& o) { return *this = *this & o; }

    // The rectangle around both; where one is empty, the other (this first).
    constexpr chRect operator|(const chRect& o) const {
        if (empty()) return o;
        if (o.empty()) return *this;
        return {vdx_geometry::lesser(left, o.left), vdx_geometry::lesser(top, o.top),
                vdx_geometry::greater(right, o.right), vdx_geometry::greater(bottom, o.bottom)};
    }
    // Becomes the rectangle around both.
    constexpr chRect& operator|=(const chRect& o) { return *this = *this | o; }
};

// --- Changed copies -------------------------------------------------------------

// From a corner and a size.
constexpr chRect rectLTWH(std::int32_t l, std::int32_t t, std::int32_t w, std::int32_t h) {
    return {chPoint(l, t), chSize(w, h)};
}

// A copy with each edge moved outwards by its number.
constexpr chRect InflateRect(const chRect& r, std::int32_t l, std::int32_t t, std::int32_t rr,
                             std::int32_t b) {
    chRect result = r;
    result.InflateRect(l, t, rr, b);
    return result;
}
// A copy with each edge moved inwards by its number.
constexpr chRect DeflateRect(const chRect& r, std::int32_t l, std::int32_t t, std::int32_t rr,
                             std::int32_t b) {
    chRect result = r;
    result.DeflateRect(l, t, rr, b);
    return result;
}
// A copy of another size; left and top stay.
constexpr chRect Resize(const chRect& r, std::int32_t w, std::int32_t h) {
    chRect result = r;
    result.Resize(w, h);
    return result;
}
// A copy of another width.
constexpr chRect ResizeWidth(const chRect& r, std::int32_t w) {
    chRect result = r;
    result.ResizeWidth(w);
    return result;
}
// A copy of another height.
constexpr chRect ResizeHeight(const chRect& r, std::int32_t h) {
    chRect result = r;
    result.ResizeHeight(h);
    return result;
}
// A copy moved as a whole.
constexpr chRect OffsetRect(const chRect& r, std::int32_t dx, std::int32_t dy) {
    chRect result = r;
    result.OffsetRect(dx, dy);
    return result;
}
