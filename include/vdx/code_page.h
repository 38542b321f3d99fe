// Wide text to and from a double-byte code page that a file defines.
//
//     chCodePage page("");
//     const bool bLoaded = page.LoadCodePageFile(strPath);
//     ...
//     const std::string strBytes = page.W2MBCS(strWide);  // U+4E00 is D2 BB in GBK
//
// No code page is built in. The file is nothing but records of 4 bytes: the Unicode code, then the
// multi-byte code (lead byte, trail byte), both most significant byte first, in ascending order of the
// multi-byte code. Only codes of the Basic Multilingual Plane can be mapped.
#pragma once

#include <string>
#include <vector>

#include <vdx/export.h>

// A code page: ASCII, and characters of two bytes of which the first is 0x81 to 0xFE.
//
// Thread-safety: one object may be used by many threads while none loads or unloads it. Errors: '?'
// for what cannot be converted; no messages.
class VDX_API chCodePage {
public:
    // Loads the file, unless the path is empty. Whether that worked is seen from the conversions only:
    // use LoadCodePageFile where it matters.
    explicit chCodePage(const std::string& strPath = std::string());
    ~chCodePage();

    // Replaces the table by that of a file; 1 to 3 bytes behind the last whole record are ignored.
    // Returns true when there is at least one record; the table is empty otherwise.
    //
    // Requires: records in ascending order of the multi-byte code. Not checked; a table in disorder
    // gives '?' for characters that the search misses, nothing worse.
    bool LoadCodePageFile(const std::string& strPath);

    // Empties the table.
    void UnloadCodePageFile();

    // Multi-byte text as wide text. Bytes below 0x80 are themselves; 0x80 and 0xFF give '?', and so
    // does a character that the table does not have (every one, when the table is empty).
    //
    // Kept: every character of two bytes is looked up by the first two bytes of the whole text, wherever
    // it stands; if the second byte of the text is zero (or the text is a single byte), each lead byte
    // gives '?' and counts for one byte. So only a text that begins with its only double-byte character
    // comes out as one would expect; convert longer texts character by character.
    std::wstring MBCS2W(const std::string& strText) const;

    // Wide text as multi-byte text: two bytes, the lead byte first, for each character from 129 on.
    // Only the low 16 bits of a character count. Where several records fit, the first one is taken.
    //
    // Kept: 128 and 255 give one '?', but a character that the table does not have gives two bytes,
    // 00 3F; and a code below 256 in the table gives two bytes, too, of which the first is 00.
    std::string W2MBCS(const std::wstring& strText) const;

    // The Unicode code of a multi-byte code (lead byte in the high 8 bits); 63 ('?') when absent.
    unsigned short MBCS2W_fast(unsigned short nCode) const;

    // The multi-byte code of a Unicode code, from the first record that has it; 63 when absent.
    unsigned short W2MBCS_slow(unsigned short nWide) const;

private:
    int m_nCount = 0;                     // Records.
    std::vector<unsigned char> m_table;   // The records, in native byte order: Unicode, multi-byte.
    std::vector<unsigned short> m_codes;  // By Unicode code, what W2MBCS_slow gives; none without table.
    std::vector<unsigned short> m_wides;  // By multi-byte code, what MBCS2W_fast gives; or none.
};
