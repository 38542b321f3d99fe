// Figures: our benchmark beside those of its peers, with the ratio to reach.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace vdx::bench {

// One row of the table. `ours` and `peers` are full names of registered
// benchmarks ("BM_Encode/1024"); a name with "/real_time" is compared by wall
// clock, every other one by processor time. The ratio is the best peer's time
// over ours: more than 1 means that ours is faster. Both must do the same work in
// one iteration.
struct Figure {
    std::string title;
    std::string ours;
    std::vector<std::string> peers;
    double goal;  // 0: none, shown for comparison.
};

// Called by the registration objects below, before main.
bool addFigure(Figure figure);

// A figure that is no time, such as bytes of peak memory: measured while the
// benchmarks run or after them, less is better.
void addMeasured(const std::string& title, double ours, const std::string& peer, double peerValue,
                 double goal, const char* unit);

}  // namespace vdx::bench

#define VDX_BENCH_JOIN2(a, b) a##b
#define VDX_BENCH_JOIN(a, b) VDX_BENCH_JOIN2(a, b)

// VDX_FIGURE("AES-128 encrypt 1 KiB", "BM_Aes_vdx/1024", {"BM_Aes_openssl/1024", "BM_Aes_botan/1024"}, 1.2);
// The library's own main (in vdx_bench_support) runs all benchmarks five times in
// mixed order, takes the best time of each and prints the table.
#define VDX_FIGURE(title, ours, ...)                                            \
    [[maybe_unused]] static const bool VDX_BENCH_JOIN(s_bFigure, __COUNTER__) = \
        ::vdx::bench::addFigure(::vdx::bench::Figure{title, ours, __VA_ARGS__})
