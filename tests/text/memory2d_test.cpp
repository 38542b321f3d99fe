// Two-dimensional copies.
#include <vdx/memory2d.h>

#include <climits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// A surface of characters with a margin all round that nothing may touch.
struct Surface {
    static constexpr int MARGIN = 3;
    int nWidth, nRows, nPitch;
    std::string bytes;

    Surface(int width, int rows, char fill)
        : nWidth(width),
          nRows(rows),
          nPitch(width + 2 * MARGIN),
          bytes(static_cast<std::size_t>(nPitch * (rows + 2 * MARGIN)), '#') {
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < width; ++x)
                at(x, y) = fill == 0 ? static_cast<char>('a' + (x + y * width) % 26) : fill;
    }
    char& at(int x, int y) { return bytes[static_cast<std::size_t>((y + MARGIN) * nPitch + x + MARGIN)]; }
};

// The same copy a byte at a time.
bool plainClipCopy(Surface& target, int nTargetX, int nTargetY, Surface source, int nSourceX, int nSourceY,
                   int nWidth, int nRows) {
    bool bAny = false;
    for (int y = 0; y < nRows; ++y) {
        for (int x = 0; x < nWidth; ++x) {
            const int tx = nTargetX + x, ty = nTargetY + y, sx = nSourceX + x, sy = nSourceY + y;
            if (tx < 0 || ty < 0 || sx < 0 || sy < 0) continue;
            if (tx >= target.nWidth || ty >= target.nRows || sx >= source.nWidth || sy >= source.nRows)
                continue;
            target.at(tx, ty) = source.at(sx, sy);
            bAny = true;
        }
    }
    return bAny;
}

bool clipCopy(Surface& target, int nTargetX, int nTargetY, Surface& source, int nSourceX, int nSourceY,
              int nWidth, int nRows) {
    return vdxClipMemcpy2D(&target.at(0, 0), target.nPitch, target.nWidth, target.nRows, nTargetX, nTargetY,
                           &source.at(0, 0), source.nPitch, source.nWidth, source.nRows, nSourceX, nSourceY,
                           nWidth, nRows);
}

TEST(Memcpy2D, ClipsToBothSurfacesAndOverlapsLikeThroughAThirdPlace) {
    for (int nTargetX = -3; nTargetX <= 5; ++nTargetX) {
        for (int nTargetY = -3; nTargetY <= 5; ++nTargetY) {
            for (int nSourceX = -2; nSourceX <= 4; nSourceX += 3) {
                for (int nSourceY = -2; nSourceY <= 4; nSourceY += 3) {
                    for (const int nSize : {-1, 0, 1, 4, 9}) {
                        Surface ours(5, 4, '.'), expected(5, 4, '.'), source(6, 3, 0);
                        const bool bCopied =
                            clipCopy(ours, nTargetX, nTargetY, source, nSourceX, nSourceY, nSize, nSize);
                        EXPECT_EQ(bCopied, plainClipCopy(expected, nTargetX, nTargetY, source, nSourceX,
                                                         nSourceY, nSize, nSize));
                        ASSERT_EQ(ours.bytes, expected.bytes);
                        Surface within(6, 5, 0), moved(6, 5, 0);
                        clipCopy(within, nTargetX, nTargetY, within, nSourceX, nSourceY, nSize, nSize);
                        plainClipCopy(moved, nTargetX, nTargetY, moved, nSourceX, nSourceY, nSize, nSize);
                        ASSERT_EQ(within.bytes, moved.bytes);
                    }
                }
            }
        }
    }
}

TEST(Memcpy2D, ExtremePlacesCopyNothingOrWhatIsInside) {
    Surface target(5, 4, '.'), source(5, 4, 0);
    const std::string before = target.bytes;
    for (const int nFar : {INT_MIN, INT_MIN + 1, INT_MAX - 1, INT_MAX}) {
        EXPECT_FALSE(clipCopy(target, nFar, 0, source, 0, 0, 5, 4));
        EXPECT_FALSE(clipCopy(target, 0, 0, source, 0, nFar, 5, 4));
        EXPECT_FALSE(clipCopy(target, nFar, nFar, source, nFar, nFar, 5, 4));
    }
    EXPECT_EQ(target.bytes, before);
    EXPECT_TRUE(clipCopy(target, 0, 0, source, 0, 0, INT_MAX, INT_MAX));
    EXPECT_EQ(target.bytes, source.bytes);
}

TEST(Memcpy2D, NegativePitchTurnsTheRowsOver) {
    const std::string source = "aabbcc";
    std::string target(6, '.');
    vdxMemcpy2D(target.data(), 2, source.data() + 4, -2, 2, 3);
    EXPECT_EQ(target, "ccbbaa");
    std::string wide = "ab..cd..ef..";
    vdxMemcpy2D(target.data(), 2, wide.data(), 4, 2, 3);
    EXPECT_EQ(target, "abcdef");
    vdxMemcpy2D(target.data(), 2, wide.data(), 4, 0, 3);
    vdxMemcpy2D(target.data(), 2, wide.data(), 4, 2, -1);
    EXPECT_EQ(target, "abcdef");
    // Within one surface that goes upwards.
    std::string column = "1234";
    vdxMemcpy2D(column.data() + 2, -1, column.data() + 3, -1, 1, 3);
    EXPECT_EQ(column, "2344");
    column = "1234";
    vdxMemcpy2D(column.data() + 3, -1, column.data() + 2, -1, 1, 3);
    EXPECT_EQ(column, "1123");
}

}  // namespace
