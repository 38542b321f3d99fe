// Two-dimensional copies.
#include <vdx/memory2d.h>

#include <algorithm>
#include <climits>
#include <string>

#include <gtest/gtest.h>

namespace {

// A surface of 6 x 5 characters with a margin all round that nothing may touch.
struct Surface {
    static constexpr int WIDTH = 6, ROWS = 5, MARGIN = 3, PITCH = WIDTH + 2 * MARGIN;
    std::string bytes = std::string(PITCH * (ROWS + 2 * MARGIN), '#');

    explicit Surface(char first) {
        for (int i = 0; i < WIDTH * ROWS; ++i)
            at(i % WIDTH, i / WIDTH) = static_cast<char>(first + i);
    }
    char& at(int x, int y) { return bytes[static_cast<std::size_t>((y + MARGIN) * PITCH + x + MARGIN)]; }
    static bool has(long x, long y) { return x >= 0 && y >= 0 && x < WIDTH && y < ROWS; }
};

struct Place {
    int x, y;
};

// The same copy, asked of each byte of the target.
bool plainClipCopy(Surface& target, Place to, Surface source, Place from, int nSize) {
    bool bAny = false;
    for (int i = 0; i < Surface::WIDTH * Surface::ROWS; ++i) {
        const int x = i % Surface::WIDTH, y = i / Surface::WIDTH;
        const long across = long{x} - to.x, down = long{y} - to.y;
        if (std::min(across, down) < 0 || std::max(across, down) >= nSize) continue;
        if (!Surface::has(from.x + across, from.y + down)) continue;
        target.at(x, y) = source.at(from.x + static_cast<int>(across), from.y + static_cast<int>(down));
        bAny = true;
    }
    return bAny;
}

bool clipCopy(Surface& target, Place to, Surface& source, Place from, int nSize) {
    return vdxClipMemcpy2D(&target.at(0, 0), Surface::PITCH, Surface::WIDTH, Surface::ROWS, to.x, to.y,
                           &source.at(0, 0), Surface::PITCH, Surface::WIDTH, Surface::ROWS, from.x, from.y,
                           nSize, nSize);
}

TEST(Memcpy2D, ClipsToBothSurfacesAndOverlapsLikeThroughAThirdPlace) {
    const int places[] = {INT_MIN, -2, -1, 0, 1, 3, 5, 6, INT_MAX - 1, INT_MAX};
    for (std::size_t i = 0; i < 10'000; ++i) {
        const Place to{places[i % 10], places[i / 10 % 10]}, from{places[i / 100 % 10], places[i / 1000]};
        for (const int nSize : {INT_MIN, -1, 0, 1, 4, 9, INT_MAX}) {
            for (const bool bWithin : {false, true}) {
                Surface target('A'), expected('A'), other('a');
                EXPECT_EQ(clipCopy(target, to, bWithin ? target : other, from, nSize),
                          plainClipCopy(expected, to, bWithin ? expected : other, from, nSize));
                ASSERT_EQ(target.bytes, expected.bytes);
            }
        }
    }
}

// Within one surface, too, from its end.
TEST(Memcpy2D, PitchesOfAnySign) {
    const std::string source = "aabbcc";
    std::string target(6, '.'), up = "1234", down = "1234";
    vdxMemcpy2D(target.data(), 2, source.data() + 4, -2, 2, 3);
    EXPECT_EQ(target, "ccbbaa");
    vdxMemcpy2D(target.data(), 4, source.data(), 2, 2, 2);
    vdxMemcpy2D(target.data(), 2, source.data(), 2, 0, 3);
    vdxMemcpy2D(target.data(), 2, source.data(), 2, 2, -1);
    EXPECT_EQ(target, "aabbbb");
    vdxMemcpy2D(up.data() + 2, -1, up.data() + 3, -1, 1, 3);
    EXPECT_EQ(up, "2344");
    vdxMemcpy2D(down.data() + 3, -1, down.data() + 2, -1, 1, 3);
    EXPECT_EQ(down, "1123");
}

}  // namespace
