// The message functions: where their lines go, and their exact form; formatting by hand.
#include <fcntl.h>
#include <climits>

#include "siblings/qvstl/format.h"
#include "trace/lines.h"

namespace {

const std::string RED = "[\x1b[1;31mE:\x1b[00m";
const std::string YELLOW = "[\x1b[1;33mW:\x1b[00m";

template <class... Values>
void expectAsTheLibrary(const char* szFormat, Values... values) {
    std::string expected(70'000, 0);
    const int nLength = std::snprintf(expected.data(), expected.size(), szFormat, values...);
    expected.resize(static_cast<std::size_t>(nLength));
    EXPECT_EQ(qv::format_astring(szFormat, values...), expected) << szFormat;
}

}  // namespace

TEST(Console, ColoursBySecondAndThirdCharacterAndLimits) {
    const std::pair<std::string, std::string> rows[] = {
        {"[E:] full", RED + "] full"},
        {"[W:Net] slow", YELLOW + "Net] slow"},
        {"xE:the first character does not matter", RED + "the first character does not matter"},
        {"[D:] plain", "[D:] plain"},
        {"[E", "[E"},
        {"[E:", RED},
        {"", ""},
        {"%s %n 100%\xff", "%s %n 100%\xff"},
        {std::string("ab\0ends at the zero byte", 10), "ab"},
        {std::string(100'000, 'x'), std::string(100'000, 'x')},
    };
    const std::string text(5000, 'x');
    const auto result = runInChild([&] {
        for (const auto& [line, written] : rows) {
            consoleWriteString(false, line);
            consoleWriteString(true, line);
        }
        consolePrintf(true, "%s", text.c_str());
        consolePrintf(false, "[W:] %d", 7);
        vdxOutputDebugString("%s", text.c_str());
        simpTRACE("%s|%5.2f", "pi", 3.14159);
    });
    std::string expected;
    for (const auto& [line, written] : rows)
        expected += written + '\n';
    EXPECT_EQ(result.err, expected + text.substr(0, 4095) + "\n");
    EXPECT_EQ(result.out, expected + YELLOW + "] 7\n" + text + "\npi| 3.14\n");
}

// Also behind what the program itself left in the stream's buffer.
TEST(Console, LinesKeepTheirPlaceAndWaitForASlowReader) {
    const std::string longLine(300'000, 'y');
    const auto result = runInChild([&] {
        alarm(20);
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
        const int nFile = dup(1);
        dup2(ends[1], 1);
        close(ends[1]);
        std::thread reader([&] {
            vdxSleep(50);  // The pipe is full.
            fcntl(ends[0], F_SETFL, 0);
            while (splice(ends[0], nullptr, nFile, nullptr, 4096, 0) > 0)
                continue;
        });
        std::printf("before ");  // Waits in the stream's buffer.
        consolePrintf(false, "%d", 0);
        std::printf("behind\n");
        consoleWriteString(false, longLine);
        std::fclose(stdout);
        reader.join();
    });
    EXPECT_TRUE(result.out == "before 0\nbehind\n" + longLine + '\n') << result.out.substr(0, 30);
}

TEST(Messages, WarningsNameFileTimeAndIds) {
    const auto result = runInChild([] {
        std::printf("(%d:%u)", vdxGetCurrentProcessId(), vdxGetCurrentTaskId());
        vdxOutputWarningString("lost %d", 3);
        vdxWarningMessage("a.cpp", 12, "lost %d", 4);
        vdxWarningMessage(nullptr, 0, "%s", "");
    });
    EXPECT_EQ(withoutStamps(result.err),
              YELLOW + "] # lost 3\n" + YELLOW + "] a.cpp(12): #lost 4\n" + YELLOW + "] (0): #\n");
    EXPECT_EQ(countOf(result.out, result.err), 3u);
}

TEST(Messages, TraceLinesCarryThePrefixAndSuppressedOnesAreNotFormatted) {
    const auto traceAll = [](const char* szText) {
        vdxTraceObject("name", std::string("value"));
        vdxTraceObject("at", reinterpret_cast<const void*>(0x12ab));
        vdxTrace(7, "plain %s%%", szText);
        vdxTrace(7, std::string("finished %d"));
        vdxModuleTrace(7, "M:Relay", "%s", szText);
        vdxModuleTrace(7, "", std::string("nobody"));
        vdxModuleTrace(7, "E:Net", "red");
        tracePrintf("debug %s", szText);
    };
    const std::string errorText = "%m%s", filler(2000, 'x');  // %m is an extension of the C libraries.
    const auto result = runInChild([&] {
        errno = EDOM;
        vdxTrace(3, errorText.c_str(), filler.c_str());
        for (const int nLevel : {9, 8, 7, 6}) {
            helper().ResetTraceLevel(nLevel);
            traceAll(nLevel >= 7 ? "text" : reinterpret_cast<const char*>(8));
        }
    });
    const std::string texts = "[D:Who?@plain text%\n[D:Who?@finished %d\n[M:Relay@text\n[D:Who?@nobody\n" +
                              RED + "Net@red\n[D:Who?@debug text\n";
    EXPECT_EQ(withoutStamps(result.out), "[D:Who?@" + vdxTransLastError(EDOM) + filler +
                                             "\n[D:Who?@name = \"value\"\n[D:Who?@at = 0x000012ab\n" + texts +
                                             texts + texts);
    EXPECT_EQ(result.err, "");
}

// To the file that the option names, of the size and number that it says.
TEST(Messages, AnErrorMessageIsFatal) {
    const TempDir dir;
    const std::string before(1100, 'x');
    const auto result = runInChild([&]() -> int {
        setenv("trace", ("9:log:" + (dir / "t") + ":1:2").c_str(), 1);
        for (int i = 0; i < 2; ++i)
            vdxTrace(9, before);
        vdxErrorMessage("b.cpp", 9, "state %d", 5);
    });
    EXPECT_EQ(result.signal(), SIGABRT);
    const std::string line = "] b.cpp(9): #state 5\n";
    EXPECT_TRUE(withoutStamps(result.err).starts_with(RED + line)) << result.err;
    EXPECT_GT(countOf("\n", result.err), 4u) << "the stack";
    EXPECT_EQ(withoutStamps(TempDir::read(dir / "t-0.log")), "[D:Who?@" + before + '\n');
    EXPECT_EQ(withoutStamps(TempDir::read(dir / "t-1.log")), "[E:" + line);
}

TEST(Messages, LevelLetters) {
    std::string letters;
    for (int nLevel = -1; nLevel < 12; ++nLevel)
        letters += translateToLevelChar(nLevel);
    EXPECT_EQ(letters, "IIIIEWNIDITII");
}

TEST(Format, SameTextsAsTheCLibrary) {
    const char* volatile szNone = nullptr;  // The compiler would warn of it.
    expectAsTheLibrary("100%% of %s%s", "it", szNone);
    expectAsTheLibrary("%d %i %u|%c%c", INT_MIN, INT_MAX, UINT_MAX, 'c', 0);
    expectAsTheLibrary("%ld %li %lu %lld %llu %zu", LONG_MIN, LONG_MAX, ULONG_MAX, LLONG_MIN, ULLONG_MAX,
                       ~0UL);
    // One that is not plain behind plain ones: all of it is made anew.
    expectAsTheLibrary("%d %s %5d|%-4u|%.3s|%x", 1, "two", 3, 4u, "five", 6u);
    expectAsTheLibrary("%s %.2f %zd %p", "pi", 3.14159, ssize_t{-1}, static_cast<void*>(stdout));
    expectAsTheLibrary("%d %hd %hhu %jd", 1, 70'000, 300, intmax_t{-5});
    for (const std::size_t nLength : {510u, 511u, 512u, 513u, 1023u, 1024u, 1025u, 60'000u}) {
        const std::string text(nLength, 'x');
        expectAsTheLibrary("%s", text.c_str());
        expectAsTheLibrary("%s|%.0f", text.c_str(), 7.0);
    }
}
