// The call stack as text, and scopes that trace.
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

// The simple ones count for all threads, and indent by odd characters.
TEST(TraceStacks, ScopesAreIndentedPerThread) {
    const auto result = runInChild([] {
        helper().ResetTraceLevel(5);
        {
            const chTraceStack quiet(9, "void quiet()", nullptr);
            const chTraceStack outer(5, "int ns::Cls::run(int, char)", nullptr);
            const chTraceStack middle(5, "int ns::Cls::run(int, char)", "x=%d", 5);
            const std::string empty;
            const chTraceStack inner(5, "no brackets", empty.c_str(), 0);
            std::thread([] { const chTraceStack other(5, "other()", "%s", ""); }).join();
        }
        {
            const simpStackTracer first("void a::first(int)", nullptr);
            const simpStackTracer second("void a::second(int)", "(%d)", 2);
            EXPECT_EQ(simpStackTracer::getDepth(), 2);
        }
        const chTraceStack longest(5, (std::string(300, 'n') + "()").c_str(), nullptr);
        const chTraceStack open(5, "f(a", nullptr);
    });
    const std::string longName(255, 'n'), lead(32, 2);
    EXPECT_EQ(std::regex_replace(withoutStamps(result.out), std::regex(R"(\[D:Who\?@)"), "|"),
              "|{ ns::Cls::run(int, char)\n|  { ns::Cls::runx=5\n|    { \n|{ other\n"
              "|} other\n|    } \n|  } ns::Cls::run\n|} ns::Cls::run(int, char)\n\n" +
                  lead + "{ a::second(2)\n" + lead + "} a::second\n\n|{ " + longName +
                  "\n|  { f(a\n|  } f(a\n|} " + longName + '\n');
}
