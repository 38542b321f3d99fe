// Splitting texts into pieces and words.
#pragma once

#include <string>
#include <vector>

#include <vdx/export.h>

// Example:
//   for (const std::string& strPiece : vdxTextBreak("a;;b;", ";"))  // "a", "", "b"
//       strJoined += "(" + strPiece + ")";
//   for (const std::string& strWord : vdxGetWords("  two  words "))  // "two", "words"
//       strJoined += "[" + strWord + "]";
//
// Thread-safety: all functions.

// The pieces of a text between separators, in order. Each character of separators
// is one, and the text is cut at every one of them, so pieces may be empty. A
// separator that ends the text ends its last piece: nothing empty comes after it,
// and joining the pieces with a separator after each gives the text back. An empty
// text has no pieces; without separators the whole text is one piece.
VDX_API std::vector<std::string> vdxTextBreak(const std::string& text, const std::string& separators);

// The words of a text: its longest runs without white space (space, tab, CR, LF).
// None is empty.
VDX_API std::vector<std::string> vdxGetWords(const std::string& text);
