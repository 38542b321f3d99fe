// The call stack as text.
#include <vdx/stack_trace.h>

#include "trace/lines.h"
#include "trace/symbol_text.h"

TEST(demangleFrame, KnowsTheFormsOfThePlatforms) {
    const std::pair<std::string, std::string> rows[] = {
        {"0   app   0x0001 _ZN2ns3funEi + 42", "0   app   0x0001: ns::fun(int) + 42"},
        {"  3 lib.dylib 0x12 main + 4", "3 lib.dylib 0x12: main + 4"},
        {"./app(_ZN2ns3funEi+0x2a) [0x5566]", "./app(ns::fun(int)+0x2a) [0x5566]"},
        {"./app(_Znot_mangled+0x2a) [0x5566]", "./app(_Znot_mangled+0x2a) [0x5566]"},
        {"./app(main+0x2a) [0x5566]", "./app(main+0x2a) [0x5566]"},
        {"./app(+0x1132) [0x5566]", "./app(+0x1132) [0x5566]"},
        {"./app(_ZN2ns3funEi", "./app(_ZN2ns3funEi"},
        {"a b c d", "a b c d"},
        {"a b c _Z1fv ", "a b c: f() "},
        {"   ", ""},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(vdx::demangleFrame(text), expected) << text;
    EXPECT_EQ(vdx::demangleFrame("1 app 0x1 " + std::string(5000, 's') + " + 4").size(), 1023u);
}

namespace {

// Not inlined, and not turned into jumps.
[[gnu::noinline]] std::string deeper(int n, int nDepth) {
    std::string text = n == 0 ? vdxReadStack(nDepth) : deeper(n - 1, nDepth);
    asm volatile("" ::: "memory");
    return text;
}

}  // namespace

TEST(vdxReadStack, CountsFromTheCaller) {
    for (const int nDepth : {0, 1})
        EXPECT_EQ(vdxReadStack(nDepth), "");
    EXPECT_EQ(countOf("\n", vdxReadStack(2)), 1u);
    EXPECT_EQ(countOf("\n", deeper(10, 6)), 5u);
    EXPECT_EQ(countOf("\n", deeper(20, -1)), countOf("\n", deeper(0, -1)) + 20u);
    EXPECT_EQ(countOf("\n", deeper(1000, -1)), 255u);
    EXPECT_EQ(countOf("vdxReadStack", vdxReadStack(-1)), 0u);
    const std::string dumped = runInChild([] { vdxDumpStack(4); }).err;
    EXPECT_TRUE(countOf("\n", dumped) == 3 && countOf("[0x", dumped) == 3) << dumped;
}
