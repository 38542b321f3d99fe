// The keys in what a terminal sends: ECMA-48 control sequences as xterm, rxvt, the Linux console and
// the VT100 family write them.
#include "base/console_input_keys.h"

#include <vdx/console_input.h>

#include <iterator>

namespace vdx {

namespace {

// How long the next byte of an escape sequence may take; a lone Escape has nothing behind it. Short
// enough not to be felt, long enough for a slow connection.
constexpr int SEQUENCE_TIMEOUT_ms = 50;

// "CSI number ~", also with the endings "$", "^" and "@" of rxvt for Shift and Control.
int numberedKey(int nNumber) {
    constexpr int FIRST[] = {chKeyUnknown, chKeyHome,     chKeyInsert, chKeyDelete, chKeyEnd,
                             chKeyPageUp,  chKeyPageDown, chKeyHome,   chKeyEnd};
    if (nNumber < static_cast<int>(std::size(FIRST))) return FIRST[nNumber];
    // There are gaps between the groups of function keys.
    if (nNumber >= 11 && nNumber <= 15) return chKeyF1 + nNumber - 11;
    if (nNumber >= 17 && nNumber <= 21) return chKeyF1 + nNumber - 12;
    if (nNumber >= 23 && nNumber <= 24) return chKeyF1 + nNumber - 13;
    return chKeyUnknown;
}

// The letter that ends "CSI ... letter" or "SS3 letter"; small ones are those of rxvt.
int letteredKey(int cLetter) {
    switch (cLetter) {
        case 'A':
        case 'a':
            return chKeyUp;
        case 'B':
        case 'b':
            return chKeyDown;
        case 'C':
        case 'c':
            return chKeyRight;
        case 'D':
        case 'd':
            return chKeyLeft;
        case 'H':
            return chKeyHome;
        case 'F':
            return chKeyEnd;
        case 'P':
        case 'Q':
        case 'R':
        case 'S':
            return chKeyF1 + cLetter - 'P';
        default:
            return chKeyUnknown;
    }
}

// A byte inside a sequence, or chKeyNone when the sequence ends without one.
int nextInside(keyBytes& bytes) {
    const int c = bytes.next(SEQUENCE_TIMEOUT_ms);
    return c > 255 ? chKeyNone : c;
}

// Escape was a key of its own, and cNext is the next one.
int loneEscape(keyBytes& bytes, int cNext) {
    bytes.putBack(cNext);
    return chKeyEscape;
}

// The byte c belongs to no sequence: it begins the next key.
int brokenOff(keyBytes& bytes, int c) {
    if (c != chKeyNone) bytes.putBack(c);
    return chKeyUnknown;
}

bool isFinal(int c) {
    return c >= 0x40 && c <= 0x7E;
}

// What follows "CSI", from the byte c on: parameters, then one final byte. Only the first number counts;
// behind it stand Shift, Control and Alt. Sequences with a private mark ("CSI ?") are no keys.
int parameterKey(keyBytes& bytes, int c) {
    int nNumber = 0;
    bool bFirst = true, bPrivate = false;
    for (; c >= 0x20 && c <= 0x3F && c != '$'; c = nextInside(bytes)) {
        if (c < '0' || c > '9') bFirst = false;
        if (c >= '<') bPrivate = true;
        if (bFirst && nNumber < 1000) nNumber = nNumber * 10 + c - '0';
    }
    if (c != '$' && !isFinal(c)) return brokenOff(bytes, c);
    if (bPrivate) return chKeyUnknown;
    return c == '~' || c == '$' || c == '^' || c == '@' ? numberedKey(nNumber) : letteredKey(c);
}

int controlKey(keyBytes& bytes) {
    const int c = nextInside(bytes);
    if (c == chKeyNone) return loneEscape(bytes, '[');
    if (c != '[') return parameterKey(bytes, c);
    const int cConsole = nextInside(bytes);  // The Linux console: "CSI [ A" to "CSI [ E".
    if (!isFinal(cConsole)) return brokenOff(bytes, cConsole);
    return cConsole >= 'A' && cConsole <= 'E' ? chKeyF1 + cConsole - 'A' : static_cast<int>(chKeyUnknown);
}

// What follows "SS3": a letter, or a key of the number block in application mode.
int shiftedKey(keyBytes& bytes) {
    int c = nextInside(bytes);
    if (c == chKeyNone) return loneEscape(bytes, 'O');
    while (c >= '0' && c <= '9')
        c = nextInside(bytes);  // Shift, Control and Alt, on some terminals.
    if (!isFinal(c)) return brokenOff(bytes, c);
    if (c == 'M') return chKeyEnter;
    if (c >= 'j' && c <= 'y') return c - 0x40;
    return letteredKey(c);
}

}  // namespace

int readKey(keyBytes& bytes, int nTimeout_ms) {
    const int c = bytes.next(nTimeout_ms);
    if (c != chKeyEscape) return c;
    const int cSecond = nextInside(bytes);
    if (cSecond == chKeyNone) return chKeyEscape;
    if (cSecond == '[') return controlKey(bytes);
    if (cSecond == 'O') return shiftedKey(bytes);
    return loneEscape(bytes, cSecond);
}

}  // namespace vdx
