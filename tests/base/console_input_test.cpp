// What the console input makes of keys: escape sequences, the editing of a line, what is shown of it.
#include <gtest/gtest.h>
#include <vdx/console_input.h>

#include <tuple>
#include <utility>
#include <vector>

#include "base/console_input_keys.h"
#include "base/console_input_view.h"

namespace {

// A terminal that has sent everything at once; "_" is a pause.
struct sentBytes : vdx::keyBytes {
    int next(int nTimeout_ms) override {
        if (strBytes.empty() || (strBytes[0] == '_' && nTimeout_ms >= 0)) return chKeyNone;
        const auto c = static_cast<unsigned char>(strBytes[0]);
        strBytes.erase(0, 1);
        return c == '_' ? next(nTimeout_ms) : c;
    }
    void putBack(int nByte) override { strBytes.insert(0, 1, static_cast<char>(nByte)); }

    std::string strBytes;
};

std::vector<int> keys(const std::string& strBytes) {
    sentBytes bytes;
    bytes.strBytes = strBytes;
    std::vector<int> all;
    for (int nKey = vdx::readKey(bytes, -1); nKey != chKeyNone; nKey = vdx::readKey(bytes, -1))
        all.push_back(nKey);
    return all;
}

}  // namespace

TEST(consoleKeys, SequencesOfManyTerminals) {
    const std::tuple<const char*, std::string, std::vector<int>> rows[] = {
        {"bytes", "a\x7F\xC3\xA9\n", {'a', chKeyBackspace, 0xC3, 0xA9, chKeyEnter}},
        {"arrows: CSI, SS3", "\x1b[A\x1b[B\x1bOC\x1bOD", {chKeyUp, chKeyDown, chKeyRight, chKeyLeft}},
        {"with Shift (rxvt)", "\x1b[a\x1bOb\x1bOc\x1b[d", {chKeyUp, chKeyDown, chKeyRight, chKeyLeft}},
        {"with Control (xterm)", "\x1b[1;5A\x1b[1;5D\x1b[1;2H", {chKeyUp, chKeyLeft, chKeyHome}},
        {"Home", "\x1b[H\x1bOH\x1b[1~\x1b[7~", {chKeyHome, chKeyHome, chKeyHome, chKeyHome}},
        {"End", "\x1b[F\x1bOF\x1b[4~\x1b[8~", {chKeyEnd, chKeyEnd, chKeyEnd, chKeyEnd}},
        {"editing", "\x1b[2~\x1b[3;5~\x1b[5$\x1b[6^", {chKeyInsert, chKeyDelete, chKeyPageUp, chKeyPageDown}},
        {"F1 to F4", "\x1bOP\x1b[Q\x1bO2R\x1b[1;2S", {chKeyF1, chKeyF1 + 1, chKeyF1 + 2, chKeyF1 + 3}},
        {"F1 to F5, Linux console", "\x1b[[A\x1b[[E", {chKeyF1, chKeyF1 + 4}},
        {"F1 to F5, numbered", "\x1b[11~\x1b[15~", {chKeyF1, chKeyF1 + 4}},
        {"F6 to F12", "\x1b[17~\x1b[21~\x1b[23~\x1b[24~", {chKeyF1 + 5, chKeyF1 + 9, chKeyF1 + 10, chKeyF12}},
        {"number block", "\x1bOM\x1bOp\x1bOy\x1bOk", {chKeyEnter, '0', '9', '+'}},
        {"lone Escape", "\x1b_x\x1b", {chKeyEscape, 'x', chKeyEscape}},
        {"Escape twice", "\x1b\x1b[A", {chKeyEscape, chKeyUp}},
        {"Alt", "\x1bx\x1b[_\x1bO_", {chKeyEscape, 'x', chKeyEscape, '[', chKeyEscape, 'O'}},
        {"unknown", "\x1b[?1;2c\x1b[200~b", {chKeyUnknown, chKeyUnknown, 'b'}},
        {"broken off", "\x1b[1;\x1b[A\x1b[5_x", {chKeyUnknown, chKeyUp, chKeyUnknown, 'x'}},
        {"broken off early", "\x1bO\x1b[A\x1b[[\x1b[B", {chKeyUnknown, chKeyUp, chKeyUnknown, chKeyDown}},
    };
    for (const auto& [szName, strBytes, expected] : rows)
        EXPECT_EQ(keys(strBytes), expected) << szName;
    for (const char* szUnknown : {"16~", "22~", "25~", "99999999999~", "~", "Z", "[F", "<A"})
        EXPECT_EQ(keys("\x1b[" + std::string(szUnknown)), std::vector<int>{chKeyUnknown}) << szUnknown;
}

TEST(chConsoleLineInput, Editing) {
    const std::string left = "\x1b[D", right = "\x1b[C", home = "\x1b[H", end = "\x1b[F", del = "\x1b[3~",
                      ins = "\x1b[2~";
    const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
        {"left, right, insert", "ac", left + left + left + right + "b" + right + right + "d", "abcd|"},
        {"Delete", "abc", home + del + end + del, "bc|"},
        {"Backspace", "abc", left + "\x7F" + home + "\x7F\x08", "|ac"},
        {"UTF-8", "a\u00E9\u20AC\U0001F600", left + left + "\x7F", "a|\u20AC\U0001F600"},
        {"UTF-8, typed and deleted", "", "\u20ACb\u00FC" + left + left + left + del, "|b\u00FC"},
        {"overwrite", "abc", home + ins + "x\u00E9" + ins + "y", "x\u00E9y|c"},
        {"overwrite a long character, and at the end", "\u20AC", home + ins + "xy", "xy|"},
        {"word", "one two  ", "\x17", "one |"},
        {"word inside", "one two", left + "\x17", "one |o"},
        {"to the start", "abc", left + "\x15", "|c"},
        {"to the end", "abc", left + left + "\x0B", "a|"},
        {"Escape", "abc", left + "\x1b_d", "d|"},
        {"letters of Control", "abc", "\x01x\x05y\x02z\x06w\x01\x04", "|abczyw"},
        {"nothing", "a", "\t\x1b[A\x1b[5~\x1bOP\x03\x1b[99~", "a|"},
    };
    for (const auto& [szName, strText, strKeys, strShown] : rows) {
        chConsoleLineInput line;
        line.SetText(strText);
        for (const int nKey : keys(strKeys))
            EXPECT_FALSE(line.PutKey(nKey)) << szName;
        EXPECT_EQ(std::string(line.GetText()).insert(static_cast<std::size_t>(line.GetCursor()), 1, '|'),
                  strShown)
            << szName;
        EXPECT_TRUE(line.PutKey(chKeyEnter));
    }
}

TEST(consoleLineView, ShowsWhatFits) {
    const std::tuple<const char*, std::string, std::size_t, int, std::string, int> rows[] = {
        {"fits", "abcdefg", 7, 10, "abcdefg", 9},
        {"too long, cursor at the end", "abcdefghij", 10, 10, "defghij", 9},
        {"too long, cursor at the start", "abcdefghij", 0, 10, "abcdefg", 2},
        {"two columns a character", "\u4E2D\u6587x", 6, 80, "\u4E2D\u6587x", 6},
        {"half of a wide one", "a\u4E2D", 4, 5, "\u4E2D", 4},
        {"combining", "e\u0301x", 3, 80, "e\u0301x", 3},
        {"control characters", "a\x1b\ab", 4, 80, "a??b", 6},
        {"malformed", "\xE4\xB8", 2, 80, "\xE4\xB8", 3},
        {"no room", "abc", 3, 2, "c", 3},
    };
    for (const auto& [szName, strText, nCursor, nColumns, strShown, nColumn] : rows) {
        EXPECT_EQ(vdx::lineView("> ", strText, nCursor, nColumns),
                  "\r> " + strShown + "\x1b[K\r\x1b[" + std::to_string(nColumn) + "C")
            << szName;
    }
    EXPECT_EQ(vdx::lineView("", "", 0, 80), "\r\x1b[K\r");
}
