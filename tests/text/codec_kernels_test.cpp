// Every set of inner loops that this processor runs at every length, up to a guarded page, and on every
// character at every place of a block. Texts of many kinds: fuzz/codecs_fuzz.cpp.
#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/guarded_buffer.h"
#include "text/codec_drivers.h"

using namespace vdx;

namespace {

const struct Form {
    decltype(codecKernels::encodeSpaced) codecKernels::*pEncode;
    decltype(codecBin2Text)* pToText;
    decltype(codecText2Bin)* pToBytes;

    // The plain way: three bytes at a time, fewer than any block.
    std::string plainText(const std::string& strBytes) const {
        std::string strText;
        for (std::size_t i = 0; i < strBytes.size(); i += 3) {
            const std::string strGroup = strBytes.substr(i, 3);
            strText += pToText(portableCodecKernels, strGroup.data(), sizeOf(strGroup));
        }
        return strText;
    }
} s_forms[] = {
    {&codecKernels::encodeSpaced, codecBin2Text, codecText2Bin},
    {&codecKernels::encodeBase16, codecBin2Base16, codecBase162Bin},
    {&codecKernels::encodeBase64, codecBin2Base64, codecBase642Bin},
};

}  // namespace

// Up to more than three blocks of the widest set; each byte at every place.
TEST(codecKernels, BytesToTextAndBackAtEveryLength) {
    const std::string strAll = textOf(randomBytes(300));
    GuardedBuffer<char> in(1000), out(1000);
    for (std::size_t n = 0; n <= 300; ++n) {
        const std::string strBytes = strAll.substr(300 - n);
        for (const Form& form : s_forms) {
            const std::string strText = form.plainText(strBytes);
            for (const codecKernels* pSet : getAllCodecKernels()) {
                SCOPED_TRACE(pSet->szName + strText);
                char* const pText = out.last(strText.size());
                (pSet->*form.pEncode)(reinterpret_cast<const std::uint8_t*>(in.copyOf(strBytes)), n, pText);
                EXPECT_EQ(std::string(pText, strText.size()), strText);
                const std::string_view strIn(in.copyOf(strText), strText.size());
                EXPECT_EQ(textOf(form.pToBytes(*pSet, strIn)), strBytes);
                if (form.pToBytes != codecBase162Bin) continue;
                char* const pBytes = out.copyOf(std::string(n, '?'));
                EXPECT_TRUE(codecFetchBase16(*pSet, strIn, pBytes, sizeOf(strBytes)));
                EXPECT_EQ(std::string(pBytes, n), strBytes);
            }
        }
    }
}

TEST(codecKernels, AnyCharacterAtAnyPlace) {
    for (const Form& form : s_forms) {
        const std::string strClean = form.plainText(textOf(randomBytes(70)));
        for (std::size_t i = 0; i < std::min<std::size_t>(strClean.size(), 96); ++i) {
            for (int c = 0; c < 256; ++c) {
                std::string strText = strClean;
                strText[i] = static_cast<char>(c);
                const auto expected = form.pToBytes(portableCodecKernels, strText);
                for (const codecKernels* pSet : getAllCodecKernels())
                    ASSERT_EQ(form.pToBytes(*pSet, strText), expected) << pSet->szName << ": " << strText;
            }
        }
    }
}
