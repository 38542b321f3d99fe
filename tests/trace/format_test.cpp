// Formatting by hand against the C library.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "siblings/qvstl/format.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
namespace {

template <class... Values>
void expectAsTheLibrary(const char* szFormat, Values... values) {
    char expected[70'000];
    const int nLength = std::snprintf(expected, sizeof expected, szFormat, values...);
    EXPECT_EQ(qv::format_astring(szFormat, values...),
              std::string(expected, static_cast<std::size_t>(nLength)))
        << szFormat;
}

}  // namespace
#pragma GCC diagnostic pop

TEST(Format, SameTextsAsTheCLibrary) {
    const char* szNone = nullptr;
    expectAsTheLibrary("");
    expectAsTheLibrary("100%% of %s%s", "it", szNone);
    expectAsTheLibrary("%d %i %u|%c%c", INT_MIN, INT_MAX, UINT_MAX, 'c', 0);
    expectAsTheLibrary("%ld %li %lu %lld %llu %zu", LONG_MIN, LONG_MAX, ULONG_MAX, LLONG_MIN, ULLONG_MAX,
                       ~0UL);
    // One that is not plain behind plain ones: all of it is made anew.
    expectAsTheLibrary("%d %s %5d|%-4u|%.3s|%x", 1, "two", 3, 4u, "five", 6u);
    expectAsTheLibrary("%s %.2f %zd %p", "pi", 3.14159, ssize_t{-1}, static_cast<void*>(&szNone));
    expectAsTheLibrary("%d %hd %hhu %jd", 1, 70'000, 300, intmax_t{-5});
    for (const std::size_t nLength : {510u, 511u, 512u, 513u, 1023u, 1024u, 1025u, 60'000u}) {
        const std::string text(nLength, 'x');
        expectAsTheLibrary("%s", text.c_str());
        expectAsTheLibrary("%s|%.0f", text.c_str(), 7.0);
    }
}
