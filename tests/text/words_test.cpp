// Splitting texts into pieces and words.
#include <vdx/words.h>

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

TEST(TextBreak, CutsAtEverySeparator) {
    const struct {
        std::string text;
        std::string separators;
        Texts pieces;
    } rows[] = {
        {"", ";", {}},
        {"abc", ";", {"abc"}},
        {"abc", "", {"abc"}},
        {"a;b", ";", {"a", "b"}},
        {"a;;b", ";", {"a", "", "b"}},
        {";a", ";", {"", "a"}},
        {"a;", ";", {"a"}},
        {"a;;", ";", {"a", ""}},
        {";", ";", {""}},
        {"a,b;c", ",;", {"a", "b", "c"}},
        {std::string("a\0b", 3), std::string(1, '\0'), {"a", "b"}},
        {std::string("a\0b", 3), ";", {std::string("a\0b", 3)}},
        {"\xC3\xA9;\xFF", ";", {"\xC3\xA9", "\xFF"}},
        {"x\xFFy", "\xFF", {"x", "y"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(vdxTextBreak(row.text, row.separators), row.pieces) << row.text;
}

TEST(GetWords, SplitsAtRunsOfWhiteSpace) {
    const struct {
        std::string text;
        Texts words;
    } rows[] = {
        {"", {}},
        {" \t\r\n", {}},
        {"one", {"one"}},
        {"  two \t words\r\n", {"two", "words"}},
        {"a\vb\fc", {"a\vb\fc"}},
        {std::string("a\0 b", 4), {std::string("a\0", 2), "b"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(vdxGetWords(row.text), row.words) << row.text;
}

}  // namespace
