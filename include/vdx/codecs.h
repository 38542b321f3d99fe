// Bytes as printable text and back: hexadecimal, base-64 and quoted strings.
//
//     const std::string strToken = vdxBin2Base64(aKey, sizeof aKey);
//     const std::vector<unsigned char> key = vdxBase642Bin(strToken);
//     ...
//     const std::string strSpaced = vdxBin2Text("\x0A\x1B", 2);    // "0A 1B "
//     const std::string strPacked = vdxBin2Base16("\x0A\x1B", 2);  // "0A1B"
//
// Encoders take `nLength` bytes at `pData` and give a new text; null data or a length below 1 gives
// the result of no bytes at all. Decoders never fail: each has its own, deliberately different answer
// to characters that do not belong to its alphabet, stated with it. All of them are linear, and use
// vector instructions where the processor has them, with the same results.
//
// Thread-safety: all functions. Errors: none but std::bad_alloc.
#pragma once

#include <string>
#include <vector>

#include <vdx/export.h>

// --- Hexadecimal -----------------------------------------------------------------------------------

// Two upper-case digits and one space per byte: 0A 1B gives "0A 1B ". The last space is always there.
VDX_API std::string vdxBin2Text(const void* pData, int nLength);

// Two upper-case digits per byte, nothing between them.
VDX_API std::string vdxBin2Base16(const void* pData, int nLength);

// Reads hexadecimal text with separators, as vdxBin2Text writes it. Two neighbouring digits make a
// byte. Any character that is no digit separates: a single digit before it is a byte of its own
// ("1 23" gives 01 23, "A " gives 0A). Kept: a single digit at the very end is dropped ("123" gives
// 12), where vdxBase162Bin keeps it.
VDX_API std::vector<unsigned char> vdxText2Bin(const std::string& strText);

// Reads packed hexadecimal text. Characters that are no digits are skipped, and digits pair up across
// them ("1 2" gives 12). Kept: a single digit at the very end is a byte of its own ("123" gives
// 12 03), where vdxText2Bin drops it.
VDX_API std::vector<unsigned char> vdxBase162Bin(const std::string& strText);

// Decodes exactly `nLength` bytes into `pOut`. Returns false, writing nothing, when the text is not
// exactly 2 * nLength characters long or there is nowhere to write; otherwise true.
//
// Kept: the characters are not checked. One that is no digit counts as 255, so a bad first digit gives
// a high half of F, and a bad second digit the byte FF. Where the text may be bad, ask vdxA2HEX for each
// character first.
VDX_API bool fetchBytesFromBase16(const std::string& strText, void* pOut, int nLength);

// The value of a hexadecimal digit of either case, 0 to 15; 255 for any other character.
VDX_API unsigned char vdxA2HEX(char c);

// --- Base-64 (RFC 4648, section 4) -----------------------------------------------------------------

// Base-64 with "=" padding and no line breaks: "f" gives "Zg==".
VDX_API std::string vdxBin2Base64(const void* pData, int nLength);

// Reads base-64, with or without padding. The first "=" ends the text; characters outside the alphabet
// (white space, line breaks, the "-" and "_" of the URL alphabet) are skipped. Of an incomplete last
// group, two characters give one byte, three give two, and a single one gives nothing.
VDX_API std::vector<unsigned char> vdxBase642Bin(const std::string& strText);

// The value of a base-64 character, 0 to 63; 255 for any other character ("=" included).
VDX_API unsigned char vdxBase64Index(char c);

// --- Quoted strings --------------------------------------------------------------------------------

// The bytes with C-like escapes, as a text that a log or a terminal can show: \t, \n, \r, \" and \\,
// other bytes below 0x20 or from 0x80 on as \xHH, everything else as it is; then a closing quote.
//
// Kept: the text begins with 34 bytes of value 0x01 in place of an opening quote, so fromQuotaString
// does not read it back. To make a text that it reads, drop those 34 bytes and put one quote there;
// \xHH does not survive even so (see below).
VDX_API std::string toQuotaString(const void* pData, int nLength);

// Reads a quoted string that begins at the first character, and appends what it holds to `strOut`.
// Returns the index of the closing quote; 0 when there is no opening quote or no closing one (`strOut`
// then has what stood before the end).
//
// \n, \r and \t are the control characters; \x or \X takes up to two hexadecimal digits, and none at
// all produces nothing; any other escaped character is itself. Kept: the value of a \x escape is
// appended as decimal text, so "\x41" gives the two characters 65.
VDX_API int fromQuotaString(const std::string& strQuoted, std::string& strOut);

// --- Single bytes ----------------------------------------------------------------------------------

// The byte with its bits in reverse order: 0x01 gives 0x80.
VDX_API unsigned char vdxSwap8Bit(unsigned char nByte);

// True when every byte of the text is below 0x80 (also when there is none).
VDX_API bool vdxIsAssicString(const std::string& strText);
