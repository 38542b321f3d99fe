// Every set of inner loops that this processor runs against the plain rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "support/guarded_buffer.h"
#include "text/codec_drivers.h"
#include "text/codec_models.h"

using namespace vdx;

namespace {

constexpr std::size_t s_nMostLength = 300;

std::string randomBytes(std::mt19937& random, std::size_t n) {
    std::string strBytes(n, 0);
    for (char& c : strBytes)
        c = static_cast<char>(random());
    return strBytes;
}

// A copy that ends where the buffer does.
std::string_view copyInto(GuardedBuffer<char>& buffer, const std::string& strText) {
    char* p = buffer.last(strText.size());
    return {p, strText.copy(p, strText.size())};
}

// Digits of both cases.
std::string mixCase(std::mt19937& random, std::string strHex) {
    for (char& c : strHex)
        if (c >= 'A' && random() % 2 == 0) c = static_cast<char>(c | 0x20);
    return strHex;
}

// What all decoders make of a text; with the fetch only for an even length.
struct decodedText {
    byteVector separated, packed, base64, fetched;
    bool operator==(const decodedText&) const = default;
};

decodedText decodeByRules(const std::string& strText) {
    return {modelText2Bin(strText), modelBase162Bin(strText), modelBase642Bin(strText),
            strText.size() % 2 == 0 ? modelFetch(strText) : byteVector()};
}

// The same with the decoders of a set; the text and the fetched bytes end at a guarded page.
class setDecoder {
public:
    explicit setDecoder(const codecKernels& kernels) : m_kernels(kernels) {}

    decodedText operator()(const std::string& strText) {
        const std::string_view strCopy = copyInto(m_text, strText);
        const std::size_t n = strText.size() / 2;
        char* pOut = m_out.last(n);
        const bool bFetched = codecFetchBase16(m_kernels, strCopy, pOut, static_cast<int>(n));
        return {codecText2Bin(m_kernels, strCopy), codecBase162Bin(m_kernels, strCopy),
                codecBase642Bin(m_kernels, strCopy), bFetched ? byteVector(pOut, pOut + n) : byteVector()};
    }

private:
    const codecKernels& m_kernels;
    GuardedBuffer<char> m_text{100000};
    GuardedBuffer<char> m_out{100000};
};

// The decoders of one set: the portable one against the rules, all others against the portable one,
// which is much quicker.
class decoderCheck {
public:
    explicit decoderCheck(const codecKernels& kernels) : m_kernels(kernels), m_own(kernels) {}

    ::testing::AssertionResult operator()(const std::string& strText) {
        const bool bSame = m_own(strText) == (isPortable() ? decodeByRules(strText) : m_portable(strText));
        if (bSame) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << m_kernels.szName << ": " << strText;
    }
    bool isPortable() const { return &m_kernels == &portableCodecKernels; }

private:
    const codecKernels& m_kernels;
    setDecoder m_own;
    setDecoder m_portable{portableCodecKernels};
};

void forAllSets(const std::function<void(const codecKernels&)>& check) {
    for (const codecKernels* pKernels : getAllCodecKernels()) {
        SCOPED_TRACE(pKernels->szName);
        check(*pKernels);
    }
}

// Clean texts of all forms that a decoder may meet, for n bytes.
std::vector<std::string> cleanTexts(std::mt19937& random, std::size_t n) {
    const std::string strBytes = randomBytes(random, n);
    return {mixCase(random, modelHex(strBytes, "")), mixCase(random, modelHex(strBytes, " ")),
            modelBin2Base64(strBytes)};
}

}  // namespace

TEST(codecKernels, EncodersEqualTheRulesAtAllLengthsAndAlignments) {
    forAllSets([](const codecKernels& kernels) {
        std::mt19937 random(1);
        std::string strBuffer;
        for (std::size_t n = 0; n <= s_nMostLength; ++n) {
            const std::string strBytes = randomBytes(random, n);
            const std::string strText = modelHex(strBytes, " "), strHex = modelHex(strBytes, "");
            const std::string strBase64 = modelBin2Base64(strBytes);
            for (std::size_t nShift = 0; nShift < 32; ++nShift) {
                strBuffer.assign(nShift, 'x');
                strBuffer += strBytes;
                const char* p = strBuffer.data() + nShift;
                ASSERT_EQ(codecBin2Text(kernels, p, static_cast<int>(n)), strText);
                ASSERT_EQ(codecBin2Base16(kernels, p, static_cast<int>(n)), strHex);
                ASSERT_EQ(codecBin2Base64(kernels, p, static_cast<int>(n)), strBase64);
            }
        }
    });
}

TEST(codecKernels, EncodersStayInsideTheirData) {
    forAllSets([](const codecKernels& kernels) {
        std::mt19937 random(2);
        GuardedBuffer<char> in(s_nMostLength), out(3 * s_nMostLength);
        for (std::size_t n = 0; n <= s_nMostLength; ++n) {
            const std::string strBytes = randomBytes(random, n);
            const auto pIn = reinterpret_cast<const std::uint8_t*>(copyInto(in, strBytes).data());
            const auto check = [&](auto pEncode, const std::string& strExpected) {
                char* pOut = out.last(strExpected.size());
                pEncode(pIn, n, pOut);
                ASSERT_EQ(std::string(pOut, strExpected.size()), strExpected);
            };
            check(kernels.encodeSpaced, modelHex(strBytes, " "));
            check(kernels.encodeBase16, modelHex(strBytes, ""));
            check(kernels.encodeBase64, modelBin2Base64(strBytes));
        }
    });
}

TEST(codecKernels, DecodersEqualTheRulesOnCleanTextAtAllLengthsAndAlignments) {
    forAllSets([](const codecKernels& kernels) {
        std::mt19937 random(3);
        std::string strBuffer;
        for (std::size_t n = 0; n <= s_nMostLength; ++n) {
            for (const std::string& strText : cleanTexts(random, n)) {
                const byteVector separated = modelText2Bin(strText), packed = modelBase162Bin(strText);
                const byteVector base64 = modelBase642Bin(strText);
                for (std::size_t nShift = 0; nShift < 32; ++nShift) {
                    strBuffer.assign(nShift, 'x');
                    strBuffer += strText;
                    const std::string_view strShifted = std::string_view(strBuffer).substr(nShift);
                    ASSERT_EQ(codecText2Bin(kernels, strShifted), separated);
                    ASSERT_EQ(codecBase162Bin(kernels, strShifted), packed);
                    ASSERT_EQ(codecBase642Bin(kernels, strShifted), base64);
                }
            }
        }
    });
}

TEST(codecKernels, DecodersEqualTheRulesWithAForeignCharacterAnywhere) {
    forAllSets([](const codecKernels& kernels) {
        std::mt19937 random(4);
        decoderCheck check(kernels);
        const std::string strForeign("\n=-\0\x80\xFF@`/:gG ", 13);
        for (std::size_t n = 0; n <= s_nMostLength; ++n) {
            for (std::string strText : cleanTexts(random, n)) {
                // All lengths, too, not those of whole bytes only.
                strText.resize(std::min(n, strText.size()));
                ASSERT_TRUE(check(strText));
                // What a decoder does without vectors does not depend on where in a long text it is.
                const std::size_t nStep = check.isPortable() && n > 40 ? 17 : 1;
                for (std::size_t i = 0; i < strText.size(); i += nStep) {
                    std::string strDirty = strText;
                    strDirty[i] = strForeign[random() % strForeign.size()];
                    ASSERT_TRUE(check(strDirty));
                }
            }
        }
    });
}

TEST(codecKernels, DecodersEqualTheRulesForAllCharacters) {
    forAllSets([](const codecKernels& kernels) {
        std::mt19937 random(5);
        decoderCheck check(kernels);
        for (std::string strText : cleanTexts(random, 70)) {
            for (std::size_t i = 0; i < std::min<std::size_t>(100, strText.size()); i += 3) {
                const char cKept = strText[i];
                for (int c = 0; c < 256; ++c) {
                    strText[i] = static_cast<char>(c);
                    ASSERT_TRUE(check(strText));
                }
                strText[i] = cKept;
            }
        }
    });
}

// Long texts cross from piece to piece with something pending; lines, or one, have breaks at odd places.
TEST(codecKernels, DecodersEqualTheRulesOnLongDirtyTexts) {
    forAllSets([](const codecKernels& kernels) {
        std::mt19937 random(6);
        decoderCheck check(kernels);
        for (int nRound = 0; nRound < 60; ++nRound) {
            for (const std::string& strText : cleanTexts(random, 6000 + random() % 3000)) {
                const std::size_t nLine = nRound % 8 == 0 ? strText.size() : 1 + random() % 400;
                const char* const aEnds[] = {"\n", "\n", "\n", "\r\n", "\r\n\t  "};
                std::string strLines;
                for (std::size_t i = 0; i < strText.size(); i += nLine)
                    strLines += strText.substr(i, nLine) + aEnds[random() % std::size(aEnds)];
                ASSERT_TRUE(check(strLines));
            }
        }
    });
}
