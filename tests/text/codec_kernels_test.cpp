// Every set of inner loops that this processor runs at every length, up to a guarded page, and on every
// character at every place of a block. Texts of many kinds: fuzz/codecs_fuzz.cpp.
#include <gtest/gtest.h>

#include "support/guarded_buffer.h"
#include "text/codec_drivers.h"

using namespace vdx;

namespace {

// The plain way: three bytes at a time, fewer than any block.
std::string plainText(decltype(codecBin2Text) pEncode, const std::string& strBytes) {
    std::string strText;
    for (std::size_t i = 0; i < strBytes.size(); i += 3) {
        const std::string strGroup = strBytes.substr(i, 3);
        strText += pEncode(portableCodecKernels, strGroup.data(), static_cast<int>(strGroup.size()));
    }
    return strText;
}

class codecKernelsTest : public ::testing::Test {
protected:
    void checkEncoder(decltype(codecKernels::encodeSpaced) pEncode, const std::string& strBytes,
                      const std::string& strText) {
        char* const pOut = m_out.last(strText.size());
        pEncode(reinterpret_cast<const std::uint8_t*>(m_in.copyOf(strBytes)), strBytes.size(), pOut);
        EXPECT_EQ(std::string(pOut, strText.size()), strText);
    }

    void checkDecoder(decltype(codecText2Bin) pDecode, const std::string& strText,
                      const std::string& strBytes) {
        const auto bytes = pDecode(*m_pSet, {m_in.copyOf(strText), strText.size()});
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), strBytes);
    }

    const codecKernels* m_pSet = nullptr;
    GuardedBuffer<char> m_in{1000}, m_out{1000};
};

}  // namespace

// Up to more than three blocks of the widest set.
TEST_F(codecKernelsTest, BytesToTextAndBackAtEveryLength) {
    std::string strBytes;
    for (int n = 0; n <= 300; strBytes += static_cast<char>(7 * n + n / 32), ++n) {
        const std::string strSpaced = plainText(codecBin2Text, strBytes);
        const std::string strHex = plainText(codecBin2Base16, strBytes);
        const std::string strBase64 = plainText(codecBin2Base64, strBytes);
        for (const codecKernels* pSet : getAllCodecKernels()) {
            SCOPED_TRACE(pSet->szName + std::to_string(n));
            m_pSet = pSet;
            checkEncoder(pSet->encodeSpaced, strBytes, strSpaced);
            checkEncoder(pSet->encodeBase16, strBytes, strHex);
            checkEncoder(pSet->encodeBase64, strBytes, strBase64);
            checkDecoder(codecText2Bin, strSpaced, strBytes);
            checkDecoder(codecBase162Bin, strHex, strBytes);
            checkDecoder(codecBase642Bin, strBase64, strBytes);
            char* const pOut = m_out.copyOf(std::string(strBytes.size(), '?'));
            EXPECT_TRUE(codecFetchBase16(*pSet, {m_in.copyOf(strHex), strHex.size()}, pOut, n));
            EXPECT_EQ(std::string(pOut, strBytes.size()), strBytes);
        }
    }
}

TEST_F(codecKernelsTest, AnyCharacterAtAnyPlace) {
    std::string strBytes;
    for (int i = 0; i < 70; ++i)
        strBytes += static_cast<char>(37 * i);
    const std::pair<decltype(codecText2Bin)*, std::string> rows[] = {
        {codecText2Bin, plainText(codecBin2Text, strBytes)},
        {codecBase162Bin, plainText(codecBin2Base16, strBytes)},
        {codecBase642Bin, plainText(codecBin2Base64, strBytes)},
    };
    for (const auto& [pDecode, strClean] : rows) {
        for (std::size_t i = 0; i < std::min<std::size_t>(strClean.size(), 96); ++i) {
            for (int c = 0; c < 256; ++c) {
                std::string strText = strClean;
                strText[i] = static_cast<char>(c);
                const auto expected = pDecode(portableCodecKernels, strText);
                for (const codecKernels* pSet : getAllCodecKernels())
                    ASSERT_EQ(pDecode(*pSet, strText), expected) << pSet->szName << ": " << strText;
            }
        }
    }
}
