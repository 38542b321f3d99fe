// Character classes, UTF-8 stepping and wide strings.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>

#include <vdx/export.h>
#include <vdx/warnings.h>

// Example:
//   const char* pNext = "h\xC3\xA9!";
//   int nFirst = chUTF8Word(pNext);   // 'h', pNext on the accented letter
//   int nSecond = chUTF8Word(pNext);  // 0xE9, pNext on "!"
//
// Thread-safety: all functions. Nothing here depends on the locale.

// --- Classes and case -----------------------------------------------------------
//
// Characters are ASCII code units; a class test gives 1 or 0. Any value may be
// passed; one that is no ASCII character is in no class and has no other case.

VDX_API int chIsDigit(int c);          // 0-9
VDX_API int chIsDigit16(char c);       // 0-9, a-f, A-F
VDX_API int chIsWhiteSpace(int c);     // Space, tab, CR, LF; vertical tab and form feed are not.
VDX_API int chIsPathSeparator(int c);  // One of getTabPathSeparator().
VDX_API int chIsAlpha(int c);          // A-Z, a-z
VDX_API int chUpper(int c);            // a-z to A-Z; anything else unchanged.
VDX_API int chLower(int c);            // A-Z to a-z; anything else unchanged.
VDX_API int chReverse(int c);          // Swaps the case of a letter; anything else unchanged.

// The members of each class as a text, for find_first_of and the like. They live
// to the very end of the process.
VDX_API const std::string& getTabDigit10();        // "0".."9"
VDX_API const std::string& getTabDigit16();        // "0".."9", "a".."f", "A".."F"
VDX_API const std::string& getTabWhiteSpace();     // " \t\r\n"
VDX_API const std::string& getTabPathSeparator();  // "/"
VDX_API const std::string& getTabAlphaAll();       // "a".."z", "A".."Z"
VDX_API const std::string& getTabAlphaLower();     // "a".."z"
VDX_API const std::string& getTabAlphaUpper();     // "A".."Z"

// --- UTF-8 ----------------------------------------------------------------------
//
// Sequences of one, two and three bytes are decoded (the basic plane of Unicode);
// the continuation bytes are not checked, only their low six bits count. Whatever
// begins with another byte, four-byte sequences included, decodes as '?', a byte
// at a time.

// The first character; 0 for an empty text, '?' when the text ends inside it.
VDX_API int chUTF8Word(const std::string& text);

// The character at pNext, which moves past it. A zero byte is a character, 0, and
// is passed as well.
// Requires: the bytes that the lead byte announces are there. Not checked.
VDX_API int chUTF8Word(const char*& pNext);

// The next character's place; null at a zero byte.
// Requires: as above, if the result is to be used.
VDX_API const char* chUTF8Inc(const char* pText);

// The place of the character before pText; null when there is none after pBegin.
VDX_API const char* chUTF8Dec(const char* pBegin, const char* pText);

// The first character, as chUTF8Word(text). The text is not shortened: instead the
// number of bytes that the character occupies (0 for an empty text, 1 for what
// decodes as '?') is appended to it as a byte.
// Kept: callers rely on the count at the end. To step through a text use the
// pointer forms.
VDX_API int chUTF8Inc(std::string& text);

// --- Bytes and formatting ---------------------------------------------------------

// Reverses the order of nBytes bytes in place; below 2 nothing happens.
VDX_API void vdxSwapBytes(void* pBytes, int nBytes);

// vsnprintf with an int size: writes at most nSize bytes, the terminator included,
// and returns the length of the whole text, or a negative number. A negative size
// counts as 0: nothing is written.
VDX_API int chVsprintf(char* pBuffer, int nSize, const char* szFormat, va_list args) VDX_PRINTF_FORMAT(3, 0);

// Always -1: wide formatting is not provided, see vswprintf below.
VDX_API int chVsprintf(wchar_t* pBuffer, int nSize, const wchar_t* szFormat, va_list args);

// --- Wide strings -----------------------------------------------------------------
//
// Arrays of wchar_t (32-bit units) ended by a zero unit, under the names of the C
// library, for code that was written for platforms without them. The library also
// defines
//
//   wcscpy, wcscat       copy and append, as the C library's
//   wcscmp               compares as below
//   wcscasecmp           compares as below, ASCII letters without case
//
// with C linkage (declared by <cwchar>), which then serve the whole process.
//
// Results of a comparison are the difference of the two units, as unsigned 32-bit
// numbers, at the first place where they differ; in the forms without case too it
// is the units as they stand that are subtracted. The difference wraps into an int:
// its sign orders units below 0x80000000 that are less than 0x80000000 apart, which
// all characters are.
//
// The forms with an int count are overloads beside the C library's, which take a
// size_t: a count that is written as a plain number, or held in an int, gets these.
//
// Requires: terminated texts, room at the target. Not checked.

// Copies at most nCount units, ending early at the terminator, and then always
// writes a terminator: the target needs room for nCount + 1 units, and the rest of
// it is left alone. A count below 1 writes the terminator only.
VDX_API wchar_t* wcsncpy(wchar_t* pTarget, const wchar_t* szSource, int nCount);

// Compares at most nCount units, but always at least the first: a count below 1
// compares like 1.
// Kept: callers rely on an answer that never comes without looking. For the C
// library's meaning pass the count as a size_t.
VDX_API int wcsncmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount);
VDX_API int wcsncasecmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount);

// Placeholders: they convert nothing, touch none of their arguments and return -1.
// Wide text is converted with code page tables instead.
VDX_API int vswprintf(wchar_t* pBuffer, int nSize, const wchar_t* szFormat, va_list args);
VDX_API int x_swscanf(const wchar_t* szText, const wchar_t* szFormat, ...);
VDX_API int wcstombs(char* pTarget, const wchar_t* szSource, int nSize);
VDX_API int mbstowcs(wchar_t* pTarget, const char* szSource, int nCount);
VDX_API int x_mbtowc(wchar_t* pTarget, const char* szSource, int nSize);
VDX_API std::int64_t x_wcstol(const wchar_t* szText, const wchar_t** ppEnd, int nBase);
VDX_API double x_wcstod(const wchar_t* szText, const wchar_t** ppEnd);
