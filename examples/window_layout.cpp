// Windows on a screen: what is visible of each, where its centre lies, and the area around all.
#include <cstdio>
#include <initializer_list>

#include <vdx/geometry.h>

namespace {

int nDrawn = 0;

void draw(const chRect& r, const chPoint& center) {
    std::printf("%d x %d at (%d, %d), centre (%d, %d)\n", r.Width(), r.Height(), r.left, r.top, center.x,
                center.y);
    ++nDrawn;
}

}  // namespace

int main() {
    chRect around;
    for (const int nLeft : {100, 1600, 2500}) {
        chRect screen(0, 0, 1920, 1080);
        chRect window = rectLTWH(nLeft, 100, 640, 480) & screen;
        if (!window.empty()) draw(window, window.CenterPoint());
        around |= window;
    }
    return nDrawn == 2 && around == chRect(100, 100, 1920, 580) ? 0 : 1;
}
