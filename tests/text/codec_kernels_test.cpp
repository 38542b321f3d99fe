// Every set of inner loops that this processor runs against the plain rules, up to a guarded page.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/guarded_buffer.h"
#include "text/codec_drivers.h"
#include "text/codec_models.h"

using namespace vdx;

namespace {

constexpr std::size_t s_nMostLength = 300;  // More than three blocks of the widest set.

class codecKernelsTest : public ::testing::Test {
protected:
    std::string randomBytes(std::size_t n) {
        std::string strBytes(n, 0);
        for (char& c : strBytes)
            c = static_cast<char>(m_random());
        return strBytes;
    }

    // Clean texts of all forms that a decoder may meet, for n bytes; digits are of both cases.
    std::vector<std::string> cleanTexts(std::size_t n) {
        const std::string strBytes = randomBytes(n);
        std::vector<std::string> texts{modelHex(strBytes), modelHex(strBytes, " "), modelBase64(strBytes)};
        for (std::string* pHex : {&texts[0], &texts[1]})
            for (char& c : *pHex)
                if (c >= 'A' && m_random() % 2 == 0) c = static_cast<char>(c | 0x20);
        return texts;
    }

    // Every set's encoders, each with room for its result and no more.
    void checkEncoders(const std::string& strBytes) {
        const std::string strSpaced = modelHex(strBytes, " "), strHex = modelHex(strBytes);
        const std::string strBase64 = modelBase64(strBytes);
        const auto pIn = reinterpret_cast<const std::uint8_t*>(m_in.copyOf(strBytes));
        for (const codecKernels* pSet : getAllCodecKernels()) {
            const auto check = [&](auto pEncode, const std::string& strExpected) {
                char* pOut = m_out.last(strExpected.size());
                pEncode(pIn, strBytes.size(), pOut);
                ASSERT_EQ(std::string(pOut, strExpected.size()), strExpected) << pSet->szName;
            };
            check(pSet->encodeSpaced, strSpaced);
            check(pSet->encodeBase16, strHex);
            check(pSet->encodeBase64, strBase64);
        }
    }

    // Every set's decoders; the fetch only for an even length.
    void checkDecoders(const std::string& strText) {
        const byteVector separated = modelFromHex(strText, true), packed = modelFromHex(strText, false);
        const byteVector base64 = modelFromBase64(strText), fetched = modelFetch(strText);
        const std::string_view strGuarded(m_in.copyOf(strText), strText.size());
        char* const pOut = m_out.last(fetched.size());
        for (const codecKernels* pSet : getAllCodecKernels()) {
            ASSERT_EQ(codecText2Bin(*pSet, strGuarded), separated) << pSet->szName << ": " << strText;
            ASSERT_EQ(codecBase162Bin(*pSet, strGuarded), packed) << pSet->szName << ": " << strText;
            ASSERT_EQ(codecBase642Bin(*pSet, strGuarded), base64) << pSet->szName << ": " << strText;
            if (strText.size() % 2 != 0) continue;
            ASSERT_TRUE(codecFetchBase16(*pSet, strGuarded, pOut, static_cast<int>(fetched.size())));
            ASSERT_EQ(byteVector(pOut, pOut + fetched.size()), fetched) << pSet->szName << ": " << strText;
        }
    }

    std::mt19937 m_random{1};
    GuardedBuffer<char> m_in{100'000}, m_out{100'000};
};

}  // namespace

// At all lengths, and so at all alignments.
TEST_F(codecKernelsTest, EncodersEqualTheRules) {
    for (std::size_t n = 0; n <= s_nMostLength; ++n)
        ASSERT_NO_FATAL_FAILURE(checkEncoders(randomBytes(n)));
}

TEST_F(codecKernelsTest, DecodersEqualTheRulesWithAForeignCharacterAnywhere) {
    const std::string strForeign("\n=-\0\x80\xFF@`/:gG ", 13);
    for (std::size_t n = 0; n <= s_nMostLength; ++n) {
        for (std::string strText : cleanTexts(n)) {
            strText.resize(std::min(n, strText.size()));  // All lengths, not those of whole bytes only.
            ASSERT_NO_FATAL_FAILURE(checkDecoders(strText));
            // All places in the first block of the widest set, with others behind them, are among these.
            const std::size_t nStep = n < 110 ? 1 : 3;
            for (std::size_t i = n % nStep; i < strText.size(); i += nStep) {
                const char cKept = std::exchange(strText[i], strForeign[m_random() % strForeign.size()]);
                ASSERT_NO_FATAL_FAILURE(checkDecoders(strText));
                strText[i] = cKept;
            }
        }
    }
}

TEST_F(codecKernelsTest, DecodersEqualTheRulesForAllCharacters) {
    for (std::string strText : cleanTexts(70)) {
        for (std::size_t i = 0; i < std::min<std::size_t>(100, strText.size()); i += 3) {
            const char cKept = strText[i];
            for (int c = 0; c < 256; ++c) {
                strText[i] = static_cast<char>(c);
                ASSERT_NO_FATAL_FAILURE(checkDecoders(strText));
            }
            strText[i] = cKept;
        }
    }
}

// Long texts cross from piece to piece with something pending; lines, or one, have breaks at odd places.
TEST_F(codecKernelsTest, DecodersEqualTheRulesOnLongDirtyTexts) {
    const char* const aEnds[] = {"\n", "\n", "\n", "\r\n", "\r\n\t  "};
    for (int nRound = 0; nRound < 60; ++nRound) {
        for (const std::string& strText : cleanTexts(6000 + m_random() % 3000)) {
            const std::size_t nLine = nRound % 8 == 0 ? strText.size() : 1 + m_random() % 400;
            std::string strLines;
            for (std::size_t i = 0; i < strText.size(); i += nLine)
                strLines += strText.substr(i, nLine) + aEnds[m_random() % std::size(aEnds)];
            ASSERT_NO_FATAL_FAILURE(checkDecoders(strLines));
        }
    }
}
