// What the console input makes of keys: escape sequences, the editing of a line, what is shown of it.
#include <gtest/gtest.h>
#include <vdx/console_input.h>

#include <vector>

#include "base/console_input_keys.h"
#include "base/console_input_view.h"

namespace {

// A terminal that has sent everything at once; "_" is a pause.
class sentBytes : public vdx::keyBytes {
public:
    explicit sentBytes(std::string strBytes) : m_strBytes(std::move(strBytes)) {}

    int next(int nTimeout_ms) override {
        if (m_strBytes.empty()) return chKeyNone;
        const auto c = static_cast<unsigned char>(m_strBytes.front());
        if (c == '_' && nTimeout_ms >= 0) return chKeyNone;
        m_strBytes.erase(0, 1);
        return c == '_' ? next(nTimeout_ms) : c;
    }
    void putBack(int nByte) override { m_strBytes.insert(0, 1, static_cast<char>(nByte)); }

private:
    std::string m_strBytes;
};

std::vector<int> keys(const std::string& strBytes) {
    sentBytes bytes(strBytes);
    std::vector<int> all;
    for (int nKey = vdx::readKey(bytes, -1); nKey != chKeyNone; nKey = vdx::readKey(bytes, -1))
        all.push_back(nKey);
    return all;
}

// A line with the cursor shown as "|".
std::string shown(const chConsoleLineInput& line) {
    std::string strText = line.GetText();
    return strText.insert(static_cast<std::size_t>(line.GetCursor()), 1, '|');
}

}  // namespace

TEST(consoleKeys, SequencesOfManyTerminals) {
    const struct {
        const char* szName;
        std::string strBytes;
        std::vector<int> expected;
    } rows[] = {
        {"bytes", "a\x7F\xC3\xA9\n", {'a', chKeyBackspace, 0xC3, 0xA9, chKeyEnter}},
        {"CSI arrows", "\x1b[A\x1b[B\x1b[C\x1b[D", {chKeyUp, chKeyDown, chKeyRight, chKeyLeft}},
        {"SS3 arrows", "\x1bOA\x1bOB\x1bOC\x1bOD", {chKeyUp, chKeyDown, chKeyRight, chKeyLeft}},
        {"rxvt with Shift", "\x1b[a\x1b[d\x1bOb\x1bOc", {chKeyUp, chKeyLeft, chKeyDown, chKeyRight}},
        {"xterm with Control", "\x1b[1;5A\x1b[1;5D\x1b[1;2H", {chKeyUp, chKeyLeft, chKeyHome}},
        {"Home and End",
         "\x1b[H\x1b[F\x1bOH\x1bOF\x1b[1~\x1b[4~\x1b[7~\x1b[8~",
         {chKeyHome, chKeyEnd, chKeyHome, chKeyEnd, chKeyHome, chKeyEnd, chKeyHome, chKeyEnd}},
        {"editing", "\x1b[2~\x1b[3~\x1b[5~\x1b[6~", {chKeyInsert, chKeyDelete, chKeyPageUp, chKeyPageDown}},
        {"editing with modifiers",
         "\x1b[3;5~\x1b[5$\x1b[6^\x1b[2@",
         {chKeyDelete, chKeyPageUp, chKeyPageDown, chKeyInsert}},
        {"F1 to F4, SS3", "\x1bOP\x1bOQ\x1bOR\x1bOS", {chKeyF1, chKeyF1 + 1, chKeyF1 + 2, chKeyF1 + 3}},
        {"F1 to F5, Linux console", "\x1b[[A\x1b[[B\x1b[[E", {chKeyF1, chKeyF1 + 1, chKeyF1 + 4}},
        {"F1 to F5, rxvt", "\x1b[11~\x1b[14~\x1b[15~", {chKeyF1, chKeyF1 + 3, chKeyF1 + 4}},
        {"F6 to F10",
         "\x1b[17~\x1b[18~\x1b[19~\x1b[20~\x1b[21~",
         {chKeyF1 + 5, chKeyF1 + 6, chKeyF1 + 7, chKeyF1 + 8, chKeyF1 + 9}},
        {"F11 and F12", "\x1b[23~\x1b[24~\x1b[24;2~", {chKeyF1 + 10, chKeyF12, chKeyF12}},
        {"F1 with Shift", "\x1b[1;2P\x1bO2S", {chKeyF1, chKeyF1 + 3}},
        {"number block", "\x1bOM\x1bOp\x1bOy\x1bOk", {chKeyEnter, '0', '9', '+'}},
        {"lone Escape", "\x1b_x", {chKeyEscape, 'x'}},
        {"Escape at the end", "\x1b", {chKeyEscape}},
        {"Escape twice", "\x1b\x1b[A", {chKeyEscape, chKeyUp}},
        {"Alt", "\x1bx\x1b[_\x1bO_", {chKeyEscape, 'x', chKeyEscape, '[', chKeyEscape, 'O'}},
        {"unknown",
         "\x1b[16~\x1b[22~\x1b[25~\x1b[99999999999~\x1b[~\x1b[Z\x1b[[F\x1bOX"
         "a",
         {chKeyUnknown, chKeyUnknown, chKeyUnknown, chKeyUnknown, chKeyUnknown, chKeyUnknown, chKeyUnknown,
          chKeyUnknown, 'a'}},
        {"unknown, whole", "\x1b[?1;2c\x1b[200~b", {chKeyUnknown, chKeyUnknown, 'b'}},
        {"broken off", "\x1b[1;\x1b[A\x1b[5_x", {chKeyUnknown, chKeyUp, chKeyUnknown, 'x'}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szName);
        EXPECT_EQ(keys(row.strBytes), row.expected);
    }
}

TEST(chConsoleLineInput, Editing) {
    const std::string left = "\x1b[D", right = "\x1b[C", home = "\x1b[H", end = "\x1b[F", del = "\x1b[3~",
                      ins = "\x1b[2~";
    const struct {
        const char* szName;
        std::string strKeys, strShown;
    } rows[] = {
        {"typed", "abc", "abc|"},
        {"left and insert", "ac" + left + "b", "ab|c"},
        {"stays inside", "a" + left + left + right + right + "b", "ab|"},
        {"Home and End", "b" + home + "a" + end + "c", "abc|"},
        {"Delete", "abc" + home + del, "|bc"},
        {"Delete at the end", "ab" + del, "ab|"},
        {"Backspace", "abc" + left + "\x7F", "a|c"},
        {"Backspace at the start", "a" + home + "\x7F\x08", "|a"},
        {"UTF-8", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" + left + left + "\x7F",
         "a|\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"UTF-8, Delete",
         "\xE2\x82\xAC"
         "b" +
             home + del,
         "|b"},
        {"UTF-8 between", "\xC3\xA9\xC3\xA9" + left + "\xC3\xBC", "\xC3\xA9\xC3\xBC|\xC3\xA9"},
        {"overwrite", "abc" + home + ins + "x\xC3\xA9" + ins + "y", "x\xC3\xA9y|c"},
        {"overwrite a long character",
         "\xE2\x82\xAC"
         "b" +
             home + ins + "x",
         "x|b"},
        {"overwrite at the end", "a" + ins + "b", "ab|"},
        {"word", "one two  \x17", "one |"},
        {"word inside", "one two" + left + "\x17", "one |o"},
        {"to the start", "abc" + left + "\x15", "|c"},
        {"to the end", "abc" + left + left + "\x0B", "a|"},
        {"Escape", "abc" + left + "\x1b_d", "d|"},
        {"letters of Control", "abc\x01x\x05y\x02z\x06w", "xabczyw|"},
        {"Control-D", "abc\x01\x04", "|bc"},
        {"nothing", "a\t\x1b[A\x1b[5~\x1bOP\x03\x1b[99~", "a|"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szName);
        chConsoleLineInput line;
        for (const int nKey : keys(row.strKeys))
            EXPECT_FALSE(line.PutKey(nKey));
        EXPECT_EQ(shown(line), row.strShown);
        EXPECT_TRUE(line.PutKey(chKeyEnter));
    }
}

TEST(chConsoleLineInput, TextSetBefore) {
    chConsoleLineInput line("prompt");
    line.SetText("abc");
    line.PutKey(chKeyInsert);
    EXPECT_TRUE(line.IsOverwriting());
    line.PutKey(chKeyLeft);
    line.PutKey('x');
    EXPECT_EQ(shown(line), "abx|");
}

TEST(consoleLineView, ShowsWhatFits) {
    const struct {
        const char* szName;
        std::string strText;
        std::size_t nCursor;
        int nColumns;
        std::string strShown;
        int nColumn;
    } rows[] = {
        {"short", "abc", 1, 80, "abc", 3},
        {"fits", "abcdefg", 7, 10, "abcdefg", 9},
        {"too long, cursor at the end", "abcdefghij", 10, 10, "defghij", 9},
        {"too long, cursor at the start", "abcdefghij", 0, 10, "abcdefg", 2},
        {"two columns a character", "\xE4\xB8\xAD\xE6\x96\x87x", 6, 80, "\xE4\xB8\xAD\xE6\x96\x87x", 6},
        {"half of a wide one", "a\xE4\xB8\xAD", 4, 5, "\xE4\xB8\xAD", 4},
        {"combining", "e\xCC\x81x", 3, 80, "e\xCC\x81x", 3},
        {"control characters",
         "a\x1b\x07"
         "b",
         4, 80, "a??b", 6},
        {"malformed", "\xE4\xB8", 2, 80, "\xE4\xB8", 3},
        {"no room", "abc", 3, 2, "c", 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szName);
        EXPECT_EQ(vdx::lineView("> ", row.strText, row.nCursor, row.nColumns),
                  "\r> " + row.strShown + "\x1b[K\r\x1b[" + std::to_string(row.nColumn) + "C");
    }
    EXPECT_EQ(vdx::lineView("", "", 0, 80), "\r\x1b[K\r");
}
