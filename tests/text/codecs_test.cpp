// What the exported codecs give for known texts, and for texts that are none.
#include <gtest/gtest.h>
#include <vdx/codecs.h>

#include <climits>
#include <tuple>

#include "support/vectors.h"
#include "text/codec_models.h"

using namespace std::string_literals;

namespace {

std::string hex(const byteVector& bytes) {
    return modelHex({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

int size(const std::string& strBytes) {
    return static_cast<int>(strBytes.size());
}

const std::string s_strPrefix(34, '\1');  // Of quoted strings.

}  // namespace

TEST(codecEncoders, BytesAndNothingToEncode) {
    EXPECT_EQ(vdxBin2Text("\x0A\x1B", 2), "0A 1B ");
    EXPECT_EQ(vdxBin2Base16("\x0A\x1B\xFF", 3), "0A1BFF");
    const std::pair<const char*, int> rows[] = {
        {"x", 0}, {"x", -1}, {"x", INT_MIN}, {nullptr, 7}, {nullptr, INT_MAX}};
    for (const auto& [pData, nLength] : rows) {
        EXPECT_EQ(vdxBin2Text(pData, nLength), "");
        EXPECT_EQ(vdxBin2Base16(pData, nLength), "");
        EXPECT_EQ(vdxBin2Base64(pData, nLength), "");
        EXPECT_EQ(toQuotaString(pData, nLength), s_strPrefix + '"');
    }
}

// The two readers of hexadecimal text differ in what a foreign character and the end do to a single digit.
TEST(codecDecoders, HexadecimalTexts) {
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"0a1B", "0A1B", "0A1B"}, {"1 23", "0123", "1203"}, {"A ", "0A", "0A"},
        {"123", "12", "1203"},    {"1 2", "01", "12"},      {"G1g2@3`4\0"s, "01020304", "1234"},
    };
    for (const auto& [strText, strSeparated, strPacked] : rows) {
        EXPECT_EQ(hex(vdxText2Bin(strText)), strSeparated) << strText;
        EXPECT_EQ(hex(vdxBase162Bin(strText)), strPacked) << strText;
    }
}

TEST(codecDecoders, Base64Texts) {
    const std::pair<std::string, std::string> rows[] = {
        {"Zm9v\nYmFy", "foobar"},
        {"Zg", "f"},
        {"Z", ""},
        {"Zm8", "fo"},
        {"=Zm9v", ""},
        {"Zm=9v", "f"},
        {"Z m-9_v", "foo"},
        {"Z\0m9v\xDA"s, "foo"},
    };
    for (const auto& [strText, strBytes] : rows)
        EXPECT_EQ(hex(vdxBase642Bin(strText)), modelHex(strBytes)) << strText;
}

// Lines "kind, bytes, coded" of RFC 4648, section 10.
TEST(codecVectors, Rfc4648) {
    const auto rows = readVectors("rfc4648.vec");
    EXPECT_EQ(rows.size(), 14u);
    for (const auto& row : rows) {
        const std::string strPlain = row[1] == "-" ? "" : row[1], strCoded = row[1] == "-" ? "" : row[2];
        const bool b64 = row[0] == "base64";
        EXPECT_EQ((b64 ? vdxBin2Base64 : vdxBin2Base16)(strPlain.data(), size(strPlain)), strCoded);
        EXPECT_EQ(hex((b64 ? vdxBase642Bin : vdxBase162Bin)(strCoded)), modelHex(strPlain)) << strCoded;
    }
}

TEST(fetchBytesFromBase16, TakesExactLengthsAndAnyDigits) {
    std::string strOut = "abcd";
    for (const int nLength : {-1, 1, 3, INT_MAX, INT_MIN})
        EXPECT_FALSE(fetchBytesFromBase16("0A1B", strOut.data(), nLength));
    EXPECT_FALSE(fetchBytesFromBase16("0A1", strOut.data(), 2));
    EXPECT_FALSE(fetchBytesFromBase16("0A1B", nullptr, 2));
    EXPECT_TRUE(fetchBytesFromBase16("", nullptr, 0));
    EXPECT_EQ(strOut, "abcd");
    const std::pair<std::string, std::string> rows[] = {
        {"4a4B", "JKcd"}, {"zz", "\xFF"}, {"z5", "\xF5"}, {"5z", "\xFF"}, {"\xFF\x31", "\xF1"}};
    for (const auto& [strText, strBytes] : rows) {
        EXPECT_TRUE(fetchBytesFromBase16(strText, strOut.data(), size(strText) / 2));
        EXPECT_EQ(strOut.substr(0, strBytes.size()), strBytes) << strText;
    }
}

TEST(codecBytes, AllValues) {
    for (int i = 0; i < 256; ++i) {
        const auto c = static_cast<char>(i);
        EXPECT_EQ(vdxA2HEX(c), modelDigit(c)) << i;
        EXPECT_EQ(vdxBase64Index(c), modelValue(s_strModelBase64, c)) << i;
        int nReversed = 0;
        for (int j = 0; j < 8; ++j)
            nReversed |= (i >> j & 1) << (7 - j);
        EXPECT_EQ(vdxSwap8Bit(static_cast<unsigned char>(i)), nReversed) << i;
    }
}

TEST(vdxIsAssicString, FindsAHighByteAnywhere) {
    for (std::size_t nLength = 0; nLength < 40; ++nLength) {
        std::string strText(nLength, '\x7F');
        EXPECT_TRUE(vdxIsAssicString(strText));
        for (char& c : strText) {
            c = '\x80';
            EXPECT_FALSE(vdxIsAssicString(strText)) << nLength;
            c = '\x7F';
        }
    }
}

TEST(toQuotaString, EscapesWhatIsNotPlain) {
    for (int i = 0; i < 256; ++i) {
        const std::string strByte(1, static_cast<char>(i));
        const std::string strExpected = i == 9                  ? "\\t"
                                        : i == 10               ? "\\n"
                                        : i == 13               ? "\\r"
                                        : i == '"' || i == '\\' ? "\\" + strByte
                                        : i < 0x20 || i >= 0x80 ? "\\x" + modelHex(strByte)
                                                                : strByte;
        EXPECT_EQ(toQuotaString(strByte.data(), 1), s_strPrefix + strExpected + '"') << i;
    }
    EXPECT_EQ(toQuotaString("A\t\"\xFF", 4), s_strPrefix + "A\\t\\\"\\xFF\"");
}

TEST(fromQuotaString, ReadsUpToTheClosingQuote) {
    const std::tuple<std::string, int, std::string> rows[] = {
        {"", 0, ""},
        {"\"", 0, ""},
        {"\"\"", 1, ""},
        {"abc", 0, ""},
        {"\"abc", 0, "abc"},
        {"\"abc\"def\"", 4, "abc"},
        {"\"a\\x41b\"", 7, "a65b"},
        {"\"\\X4g\\xfF0\"", 10, "4g2550"},
        {"\"\\xg\\x\"", 6, "g"},
        {"\"\\x00\"", 5, "0"},
        {"\"\\x4", 0, "4"},
        {"\"\\n\\r\\t\\\"\\\\\\q\"", 13, "\n\r\t\"\\q"},
        {"\"ab\\", 0, "ab"},
        {"\"a\0\\\0\""s, 5, "a\0\0"s},
    };
    for (const auto& [strQuoted, nResult, strExpected] : rows) {
        std::string strOut = "before ";
        EXPECT_EQ(fromQuotaString(strQuoted, strOut), nResult) << strQuoted;
        EXPECT_EQ(strOut, "before " + strExpected);
    }
    std::string strBoth = "\"ab\\n";
    fromQuotaString(strBoth, strBoth);
    EXPECT_EQ(strBoth, "\"ab\\nab\n") << "the output may be the input";
}
