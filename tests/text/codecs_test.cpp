// What the exported codecs give for known texts, and for texts that are none.
#include <gtest/gtest.h>
#include <vdx/codecs.h>

#include <cctype>
#include <climits>
#include <tuple>

#include "support/bytes.h"
#include "support/vectors.h"

using namespace std::string_literals;

namespace {

const std::string s_strPrefix(34, '\1');  // Of quoted strings.

}  // namespace

TEST(codecEncoders, BytesAndNothingToEncode) {
    EXPECT_EQ(vdxBin2Text("\x0A\x1B", 2), "0A 1B ");
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
TEST(codecDecoders, TextsThatAreNotClean) {
    const std::tuple<std::string, std::string, std::string> hexadecimal[] = {
        // Separated, packed.
        {"0a1B", "\x0A\x1B", "\x0A\x1B"}, {"1 23", "\x01\x23", "\x12\x03"},
        {"A ", "\x0A", "\x0A"},           {"123", "\x12", "\x12\x03"},
        {"1 2", "\x01", "\x12"},          {"G1g2@3`4\0"s, "\1\2\3\4", "\x12\x34"},
    };
    for (const auto& [strText, strSeparated, strPacked] : hexadecimal) {
        EXPECT_EQ(textOf(vdxText2Bin(strText)), strSeparated) << strText;
        EXPECT_EQ(textOf(vdxBase162Bin(strText)), strPacked) << strText;
    }
    const std::pair<std::string, std::string> base64[] = {
        {"Z m-9\n_\0v\xDAZg"s, "foof"}, {"Z", ""}, {"Zm8", "fo"}, {"=Zm9v", ""}, {"Zm=9v", "f"},
    };
    for (const auto& [strText, strBytes] : base64)
        EXPECT_EQ(textOf(vdxBase642Bin(strText)), strBytes) << strText;
}

// Lines "kind, bytes, coded" of RFC 4648, section 10.
TEST(codecVectors, Rfc4648) {
    const auto rows = readVectors("rfc4648.vec");
    EXPECT_EQ(rows.size(), 14u);
    for (const auto& row : rows) {
        const std::string strPlain = row[1] == "-" ? "" : row[1], strCoded = row[1] == "-" ? "" : row[2];
        const bool b64 = row[0] == "base64";
        EXPECT_EQ((b64 ? vdxBin2Base64 : vdxBin2Base16)(strPlain.data(), sizeOf(strPlain)), strCoded);
        EXPECT_EQ(textOf((b64 ? vdxBase642Bin : vdxBase162Bin)(strCoded)), strPlain) << strCoded;
    }
}

// Decoders give results in pieces; what stands between two of them is neither lost nor doubled.
TEST(codecDecoders, LongTexts) {
    const Bytes bytes = randomBytes(100'000);
    const auto inLines = [](std::string strText) {
        for (std::size_t i = 77; i < strText.size(); i += 78)
            strText.insert(i, 1, '\n');
        return strText;
    };
    const std::string strHex = vdxBin2Base16(bytes.data(), sizeOf(bytes));
    const std::string strBase64 = vdxBin2Base64(bytes.data(), sizeOf(bytes));
    EXPECT_TRUE(vdxText2Bin(' ' + vdxBin2Text(bytes.data(), sizeOf(bytes))) == bytes);
    EXPECT_TRUE(vdxBase162Bin(strHex) == bytes && vdxBase162Bin(inLines(strHex)) == bytes);
    EXPECT_TRUE(vdxBase642Bin(strBase64) == bytes && vdxBase642Bin(inLines(strBase64)) == bytes);
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
        EXPECT_TRUE(fetchBytesFromBase16(strText, strOut.data(), sizeOf(strText) / 2));
        EXPECT_EQ(strOut.substr(0, strBytes.size()), strBytes) << strText;
    }
}

TEST(codecBytes, AllValues) {
    const std::string strBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 256; ++i) {
        const auto c = static_cast<char>(i);
        EXPECT_EQ(vdxA2HEX(c), std::isxdigit(i) ? std::stoi(std::string(1, c), nullptr, 16) : 255) << i;
        EXPECT_EQ(vdxBase64Index(c), static_cast<unsigned char>(strBase64.find(c))) << i;
        int nReversed = 0;
        for (int j = 0; j < 8; ++j)
            nReversed |= (i >> j & 1) << (7 - j);
        EXPECT_EQ(vdxSwap8Bit(static_cast<unsigned char>(i)), nReversed) << i;
    }
}

TEST(vdxIsAssicString, FindsAHighByteAnywhere) {
    for (std::size_t nLength = 0; nLength < 40; ++nLength) {
        EXPECT_TRUE(vdxIsAssicString(std::string(nLength, '\x7F')));
        for (std::size_t i = 0; i < nLength; ++i)
            EXPECT_FALSE(vdxIsAssicString(std::string(nLength, '\x7F').replace(i, 1, 1, '\x80'))) << i;
    }
}

TEST(toQuotaString, EscapesWhatIsNotPlain) {
    for (int i = 0; i < 256; ++i) {
        const std::string strByte(1, static_cast<char>(i));
        std::string strExpected = i < 0x20 || i >= 0x80 ? "\\x" + vdxBin2Base16(&i, 1) : strByte;
        if (const auto nShort = "\t\n\r\"\\"s.find(strByte); nShort != std::string::npos)
            strExpected = {'\\', "tnr\"\\"[nShort]};
        EXPECT_EQ(toQuotaString(strByte.data(), 1), s_strPrefix + strExpected + '"') << i;
    }
}

TEST(fromQuotaString, ReadsUpToTheClosingQuote) {
    auto rows = readVectors("quoted_strings.vec");
    EXPECT_EQ(rows.size(), 12u);
    rows.push_back({"", "0", "-"});
    rows.push_back({"\"a\0\\\0\""s, "5", "a\\x00\\x00"});
    for (const auto& row : rows) {
        std::string strOut = "before-";
        EXPECT_EQ(fromQuotaString(row[0], strOut), std::stoi(row[1])) << row[0];
        const std::string strExpected = row[2] == "-" ? "" : row[2];
        EXPECT_EQ(toQuotaString(strOut.data(), sizeOf(strOut)), s_strPrefix + "before-" + strExpected + '"')
            << row[0];
    }
    std::string strBoth = "\"ab\\n";
    fromQuotaString(strBoth, strBoth);
    EXPECT_EQ(strBoth, "\"ab\\nab\n") << "the output may be the input";
}
