// What the tests of tracing share: the helper, its queue, and texts of lines without what changes.
#pragma once

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/platform.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>

#include "support/child.h"
#include "support/threads.h"

using vdxtest::runInChild;

inline uCTraceHelper& helper() {
    return *uCTraceHelper::getInstance();
}

// What stands in a line's prefix after the module, and in a message after its file, as patterns.
inline const std::string STAMP = R"(\+\d+:\d+\] \d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+\.\d{6} )";
inline const std::string TIME_AND_IDS = R"(\d+\.\d{6} \(\d+:\d+\))";

// The text with "@" for each of the first, and "#" for each of the second.
inline std::string withoutStamps(const std::string& text) {
    static const std::regex stamp(STAMP), timeAndIds(TIME_AND_IDS);
    return std::regex_replace(std::regex_replace(text, stamp, "@"), timeAndIds, "#");
}

// The numbers right behind each place of a word in a text; 0 where none stands.
inline std::vector<int> numbersBehind(const std::string& word, const std::string& text) {
    std::vector<int> numbers;
    for (std::size_t n = text.find(word); n != std::string::npos; n = text.find(word, n + 1))
        numbers.push_back(std::atoi(text.c_str() + n + word.size()));
    return numbers;
}

inline std::size_t countOf(const std::string& part, const std::string& text) {
    return numbersBehind(part, text).size();
}

// Takes the lines out of the queue, each with a newline behind it.
inline std::string queuedText() {
    std::string all;
    for (std::string text; helper().ReadShareMemoryString(text);)
        all += text + '\n';
    return all;
}
