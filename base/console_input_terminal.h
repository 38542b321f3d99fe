// The terminal at standard input: raw while it is wanted, and as it was on every way out.
#pragma once

namespace vdx {

// Makes the terminal raw, or counts one more who wants it so. False: standard input is no terminal.
bool enterRawTerminal();

// One less; the last one gets the former state back.
void leaveRawTerminal();

// A descriptor that can be read once the terminal was made raw again after a signal (whichever thread
// has handled it), and its reset; -1: none.
int terminalRefreshDescriptor();
void takeTerminalRefresh();

}  // namespace vdx
