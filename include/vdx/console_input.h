// Keys and lines from the console (standard input).
//
//     std::string strLine;
//     while (vdxGetConsoleLineInput(strLine, "line (empty: go on): ") && !strLine.empty())
//         std::printf("read: %s\n", strLine.c_str());
//     ...
//     chStdInput input;
//     for (int nKey = input.ReadKey(); nKey != 'q' && nKey != chKeyNone; nKey = input.ReadKey()) {
//         if (nKey >= chKeyF1 && nKey <= chKeyF12)
//             std::printf("F%d\n", nKey - chKeyF1 + 1);
//         ...
//     }
#pragma once

#include <string>

#include <vdx/export.h>

// What chStdInput::ReadKey gives. Codes up to 255 are the bytes that a key sends (a letter is its ASCII
// code, a letter outside ASCII is several bytes, UTF-8 on a UTF-8 terminal); function keys have codes
// above, whatever the escape sequence of the terminal is. Shift, Control and Alt with a function key
// give the code of the key alone.
enum chConsoleKey : int {
    chKeyNone = -1,  // No key: the time is over, or the input has ended.

    chKeyTab = 9,
    chKeyEnter = 10,
    chKeyEscape = 27,
    chKeyBackspace = 127,  // Some terminals send 8.

    chKeyUp = 256,
    chKeyDown,
    chKeyLeft,
    chKeyRight,
    chKeyHome,
    chKeyEnd,
    chKeyInsert,
    chKeyDelete,
    chKeyPageUp,
    chKeyPageDown,
    chKeyF1,  // To chKeyF1 + 11.
    chKeyF12 = chKeyF1 + 11,
    chKeyUnknown,  // An escape sequence that is none of these.
    chKeyRefresh,  // No key: a signal was handled or the process continued after a stop; show things again.
};

// Keys one at a time. While an object of the class lives, the terminal hands every key over at once
// and shows none. Interrupt, quit and suspend (Control-C, -\ and -Z) stay signals.
//
// The terminal gets its former state back when the last object is destroyed, at exit, before a signal
// ends or stops the process (after a stop the raw state comes back), and before a signal handler of the
// application runs, if it was set before the object was made. Not at _exit, and not when a handler set
// later ends the process by it.
//
// Input that is no terminal is left as it is: its bytes are the keys, without time limit, and are read
// through the C library's stdin, so it can be mixed with getchar and the like.
//
// Thread-safety: none for one object; of several, one at a time reads. Errors: chKeyNone.
class VDX_API chStdInput {
public:
    chStdInput();
    ~chStdInput();
    chStdInput(const chStdInput&) = delete;
    chStdInput& operator=(const chStdInput&) = delete;

    // Whether standard input is a terminal (and one whose state can be changed).
    bool IsTerminal() const { return m_bTerminal; }

    // Waits for a key, at most nTimeout_ms milliseconds; -1: no limit. An Escape that nothing follows
    // within 50 ms is a key of its own; any other begins the sequence of a function key, or is followed
    // by the key that was pressed together with Alt.
    int ReadKey(int nTimeout_ms = -1);

    // Whether a key is waiting, so that ReadKey would not. Always false when it is no terminal.
    bool HasKey() const;

    // Whether the input has ended (the terminal hung up, the file or pipe is at its end).
    bool IsEnd() const { return m_bEnd; }

private:
    friend struct chStdInputSource;

    bool m_bTerminal;
    bool m_bEnd = false;
    int m_nPending = chKeyNone;  // A byte read too far.
};

// One line, edited with the keys:
//   Left, Right, Home, End       move (Control-B, -F, -A, -E, too)
//   Backspace, Delete            erase the character before or at the cursor (Control-H, -D)
//   Control-W, -U, -K            erase the word before the cursor, all before it, all from it on
//   Insert                       changes between inserting and overwriting
//   Escape                       erases the line
// The cursor goes by characters of UTF-8 text. A line longer than the window is shown in part.
//
// Thread-safety: none. Errors: none.
class VDX_API chConsoleLineInput {
public:
    // The prompt is shown before the line: text of one row, without escape sequences.
    explicit chConsoleLineInput(const std::string& strPrompt = std::string());

    // Reads a line, without its end. The text that SetText has set can be edited, and is gone
    // afterwards. False when the input has ended without one (Control-D on an empty line ends it, too).
    // On input that is no terminal: the next line as it stands there; no prompt, no editing.
    bool ReadLine(std::string& strLine);

    // What ReadLine does with one key; returns true when the key ends the line. Shows nothing.
    bool PutKey(int nKey);

    void SetText(const std::string& strText);                      // The cursor goes to the end.
    const std::string& GetText() const { return m_strText; }       // The line as edited so far.
    int GetCursor() const { return static_cast<int>(m_nCursor); }  // In bytes.
    bool IsOverwriting() const { return m_bOverwrite; }            // Changed by the key Insert.

private:
    void insert(char c);
    void erase(std::string::size_type nFrom, std::string::size_type nTo);
    bool readFromTerminal(chStdInput& input);

    std::string m_strPrompt;
    std::string m_strText;
    std::string::size_type m_nCursor = 0;
    bool m_bOverwrite = false;
};

// Shows the prompt and reads one line from standard input; see chConsoleLineInput::ReadLine.
VDX_API bool vdxGetConsoleLineInput(std::string& strLine, const std::string& strPrompt = std::string());
