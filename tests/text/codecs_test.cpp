// What the exported codecs give for known texts, and for texts that are none.
#include <gtest/gtest.h>
#include <vdx/codecs.h>

#include <climits>
#include <fstream>

#include "text/codec_models.h"

using namespace std::string_literals;

namespace {

std::string hex(const byteVector& bytes) {
    return modelHex({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, "");
}

std::string hex(const std::string& strBytes) {
    return modelHex(strBytes, "");
}

int size(const std::string& strBytes) {
    return static_cast<int>(strBytes.size());
}

}  // namespace

TEST(vdxBin2Text, TwoDigitsAndASpacePerByte) {
    EXPECT_EQ(vdxBin2Text("\x0A\x1B", 2), "0A 1B ");
    EXPECT_EQ(vdxBin2Text("", 1), "00 ");
    EXPECT_EQ(vdxBin2Base16("\x0A\x1B\xFF", 3), "0A1BFF");
}

TEST(codecEncoders, NothingToEncode) {
    for (const int nLength : {0, -1, INT_MIN}) {
        EXPECT_EQ(vdxBin2Text("x", nLength), "");
        EXPECT_EQ(vdxBin2Base16("x", nLength), "");
        EXPECT_EQ(vdxBin2Base64("x", nLength), "");
        EXPECT_EQ(toQuotaString("x", nLength), std::string(34, '\1') + '"');
    }
    EXPECT_EQ(vdxBin2Text(nullptr, 7), "");
    EXPECT_EQ(vdxBin2Base16(nullptr, INT_MAX), "");
    EXPECT_EQ(vdxBin2Base64(nullptr, 7), "");
    EXPECT_EQ(toQuotaString(nullptr, 7), std::string(34, '\1') + '"');
}

TEST(codecDecoders, HexadecimalTexts) {
    const struct {
        std::string strText, strSeparated, strPacked;
    } rows[] = {
        {"", "", ""},
        {"0a1B", "0A1B", "0A1B"},
        {"0A 1B ", "0A1B", "0A1B"},
        {"1 23", "0123", "1203"},
        {"A ", "0A", "0A"},
        {"123", "12", "1203"},
        {"1 2", "01", "12"},
        {"1 2 ", "0102", "12"},
        {"  \n--", "", ""},
        {"G1g2@3`4", "010203", "1234"},
        {"12\0"
         "34"s,
         "1234", "1234"},
        {"\xB1\xE1"
         "12\xC6",
         "12", "12"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.strText);
        EXPECT_EQ(hex(vdxText2Bin(row.strText)), row.strSeparated);
        EXPECT_EQ(hex(vdxBase162Bin(row.strText)), row.strPacked);
    }
}

TEST(codecDecoders, Base64Texts) {
    const struct {
        std::string strText, strBytes;
    } rows[] = {
        {"Zm9v\nYmFy", "foobar"},
        {"Zg==", "f"},
        {"Zg", "f"},
        {"Z", ""},
        {"Zm8", "fo"},
        {"Zm9vY", "foo"},
        {"=Zm9v", ""},
        {"Zm9v=Zm9v", "foo"},
        {"Zm=9v", "f"},
        {"Z m-9_v", "foo"},
        {"Z\0m9v"s, "foo"},
        {"\xDAm9v", "\x9B\xDB"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.strText);
        EXPECT_EQ(hex(vdxBase642Bin(row.strText)), hex(row.strBytes));
    }
}

// Lines "bytes in hexadecimal, base-64, base-16" of RFC 4648, section 10.
TEST(codecVectors, Rfc4648) {
    std::ifstream file(VDX_TEST_DATA_DIR "/rfc4648.vec");
    std::string strKind, strPlain, strCoded;
    int nRows = 0;
    while (file >> strKind >> strPlain >> strCoded) {
        if (strPlain == "-") strPlain = strCoded = "";
        SCOPED_TRACE(strKind + " " + strPlain);
        const bool b64 = strKind == "base64";
        ASSERT_TRUE(b64 || strKind == "base16");
        const auto encode = b64 ? vdxBin2Base64 : vdxBin2Base16;
        const auto decode = b64 ? vdxBase642Bin : vdxBase162Bin;
        EXPECT_EQ(encode(strPlain.data(), size(strPlain)), strCoded);
        EXPECT_EQ(hex(decode(strCoded)), hex(strPlain));
        ++nRows;
    }
    EXPECT_EQ(nRows, 14);
}

TEST(fetchBytesFromBase16, TakesExactLengthsOnly) {
    unsigned char aOut[4] = {1, 2, 3, 4};
    for (const int nLength : {-1, 1, 3, INT_MAX, INT_MIN})
        EXPECT_FALSE(fetchBytesFromBase16("0A1B", aOut, nLength));
    EXPECT_FALSE(fetchBytesFromBase16("0A1", aOut, 2));
    EXPECT_FALSE(fetchBytesFromBase16("0A1B", nullptr, 2));
    EXPECT_EQ(aOut[0], 1);
    EXPECT_TRUE(fetchBytesFromBase16("", nullptr, 0));
    EXPECT_FALSE(fetchBytesFromBase16("", aOut, -1));
    EXPECT_TRUE(fetchBytesFromBase16("0a1B", aOut, 2));
    EXPECT_EQ(hex(byteVector(aOut, aOut + 4)), "0A1B0304");
}

TEST(fetchBytesFromBase16, DoesNotCheckDigits) {
    const struct {
        std::string strText, strBytes;
    } rows[] = {{"zz", "FF"},
                {"z5", "F5"},
                {"5z", "FF"},
                {" 0", "F0"},
                {"0z", "FF"},
                {"\xFF"
                 "1",
                 "F1"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.strText);
        unsigned char nOut = 0;
        EXPECT_TRUE(fetchBytesFromBase16(row.strText, &nOut, 1));
        EXPECT_EQ(hex(byteVector{nOut}), row.strBytes);
    }
}

TEST(codecBytes, AllValues) {
    for (int i = 0; i < 256; ++i) {
        const auto c = static_cast<char>(i);
        EXPECT_EQ(vdxA2HEX(c), modelDigit(c) & 255) << i;
        const auto nIndex = modelAlphabet().find(c);
        EXPECT_EQ(vdxBase64Index(c), nIndex == std::string_view::npos ? 255 : nIndex) << i;
        int nReversed = 0;
        for (int j = 0; j < 8; ++j)
            nReversed |= (i >> j & 1) << (7 - j);
        EXPECT_EQ(vdxSwap8Bit(static_cast<unsigned char>(i)), nReversed) << i;
    }
}

TEST(vdxIsAssicString, FindsAHighByteAnywhere) {
    EXPECT_TRUE(vdxIsAssicString(""));
    for (std::size_t nLength = 1; nLength < 40; ++nLength) {
        const std::string strPlain(nLength, '\x7F');
        EXPECT_TRUE(vdxIsAssicString(strPlain));
        for (std::size_t i = 0; i < nLength; ++i) {
            std::string strHigh = strPlain;
            strHigh[i] = '\x80';
            EXPECT_FALSE(vdxIsAssicString(strHigh)) << nLength << ' ' << i;
        }
    }
}

TEST(toQuotaString, EscapesWhatIsNotPlain) {
    std::string strAll;
    for (int i = 0; i < 256; ++i)
        strAll += static_cast<char>(i);
    const std::string strText = toQuotaString(strAll.data(), 256);
    std::string strExpected(34, '\1');
    for (int i = 0; i < 256; ++i) {
        const std::string strShort = i == 9      ? "t"
                                     : i == 10   ? "n"
                                     : i == 13   ? "r"
                                     : i == '"'  ? "\""
                                     : i == '\\' ? "\\"
                                                 : "";
        if (!strShort.empty())
            strExpected += "\\" + strShort;
        else if (i < 0x20 || i >= 0x80)
            strExpected += "\\x" + modelHex(std::string(1, static_cast<char>(i)), "");
        else
            strExpected += static_cast<char>(i);
    }
    EXPECT_EQ(strText, strExpected + '"');
    EXPECT_EQ(toQuotaString("A\t\"\xFF", 4), std::string(34, '\1') + "A\\t\\\"\\xFF\"");
}

TEST(fromQuotaString, ReadsUpToTheClosingQuote) {
    const struct {
        std::string strQuoted;
        int nResult;
        std::string strOut;
    } rows[] = {
        {"", 0, ""},
        {"\"", 0, ""},
        {"\"\"", 1, ""},
        {"abc", 0, ""},
        {"\"abc", 0, "abc"},
        {"\"abc\"def\"", 4, "abc"},
        {"\"a\\x41b\"", 7, "a65b"},
        {"\"\\X4g\"", 5, "4g"},
        {"\"\\xg\"", 4, "g"},
        {"\"\\x\"", 3, ""},
        {"\"\\xfF0\"", 6, "2550"},
        {"\"\\x00\"", 5, "0"},
        {"\"\\x4", 0, "4"},
        {"\"\\n\\r\\t\\\"\\\\\\q\"", 13, "\n\r\t\"\\q"},
        {"\"ab\\", 0, "ab"},
        {"\"a\0b\""s, 4, "a\0b"s},
        {"\"\\\0\""s, 3, "\0"s},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.strQuoted);
        std::string strOut = "before ";
        EXPECT_EQ(fromQuotaString(row.strQuoted, strOut), row.nResult);
        EXPECT_EQ(strOut, "before " + row.strOut);
    }
}

TEST(fromQuotaString, OutputMayBeTheInput) {
    std::string strText = "\"ab\\n";
    EXPECT_EQ(fromQuotaString(strText, strText), 0);
    EXPECT_EQ(strText, "\"ab\\nab\n");
}

TEST(fromQuotaString, ReadsWhatToQuotaStringWritesBehindAQuote) {
    std::string strPlain;
    for (int i = 0x20; i < 0x7F; ++i)
        strPlain += {static_cast<char>(i), '\t', '\r', '\n'};
    const std::string strQuoted = '"' + toQuotaString(strPlain.data(), size(strPlain)).substr(34);
    std::string strOut;
    EXPECT_EQ(fromQuotaString(strQuoted, strOut), size(strQuoted) - 1);
    EXPECT_EQ(strOut, strPlain);
}
