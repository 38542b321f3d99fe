// What a line editor shows of its line, and how it steps through UTF-8 text.
#pragma once

#include <string>

namespace vdx {

bool isContinuation(char c);

// The index after the character at i, and that of the character before i; both stay inside the text.
std::string::size_type nextCharacter(const std::string& strText, std::string::size_type i);
std::string::size_type characterBefore(const std::string& strText, std::string::size_type i);

// Where the word before i begins: behind the last space that is not at its end.
std::string::size_type wordBefore(const std::string& strText, std::string::size_type i);

// The text and escape sequences that show the prompt and the line in one row of nColumns columns, and
// put the terminal's cursor at the byte nCursor. Of a line that is too long, the part that ends at the
// cursor is shown.
std::string lineView(const std::string& strPrompt, const std::string& strText, std::string::size_type nCursor,
                     int nColumns);

}  // namespace vdx
