// The codecs over a given set of inner loops: pieces of bulk work, and what lies between them.
#include "text/codec_drivers.h"

#include <algorithm>

#include "text/codec_tables.h"
#include "text/write_string.h"

namespace vdx {

namespace {

using encodeLoop = void (*)(const std::uint8_t*, std::size_t, char*);

// The text of nText characters that pEncode makes of the bytes.
std::string encode(encodeLoop pEncode, const void* pData, std::size_t nBytes, std::size_t nText) {
    return writeString<char>(nText, [&](char* pOut) {
        pEncode(static_cast<const std::uint8_t*>(pData), nBytes, pOut);
        return nText;
    });
}

std::size_t usableLength(const void* pData, int nLength) {
    return pData == nullptr || nLength < 1 ? 0 : static_cast<std::size_t>(nLength);
}

// Decoded bytes are made in pieces on the stack and appended to reserved storage: a vector made at its
// full size would first be filled with zeros, through memory and back for large ones.
//
// Whole pieces are a multiple of every block of the vector sets.
constexpr std::size_t s_nPieceText = 6144;

// Readers take text character by character (put) or, while nothing is pending (isIdle), in clean runs
// (takeClean gives the characters taken). They write at m_pOut.

// What the two readers of hexadecimal text have in common.
struct hexReader {
    explicit hexReader(const codecKernels& kernels) : m_kernels(kernels) {}

    static std::size_t mostBytes(std::size_t nText) { return nText / 2 + 1; }
    static bool isForeign(char c) { return base16Value(c) == s_nForeign; }
    bool isIdle() const { return m_nPending == s_nForeign; }
    bool isEnded() const { return false; }

    std::size_t takeSpaced(const char* pText, std::size_t n) {
        const std::size_t nTaken = m_kernels.decodeSpaced(pText, n, m_pOut);
        m_pOut += nTaken / 3;
        return nTaken;
    }

    std::size_t takePacked(const char* pText, std::size_t n) {
        const std::size_t nTaken = m_kernels.decodeBase16(pText, n, m_pOut);
        m_pOut += nTaken / 2;
        return nTaken;
    }

    void putDigit(std::uint8_t nValue) {
        if (isIdle()) {
            m_nPending = nValue;
        } else {
            *m_pOut++ = static_cast<std::uint8_t>(m_nPending << 4 | nValue);
            m_nPending = s_nForeign;
        }
    }

    void putPending() {
        if (isIdle()) return;
        *m_pOut++ = m_nPending;
        m_nPending = s_nForeign;
    }

    const codecKernels& m_kernels;
    std::uint8_t* m_pOut = nullptr;
    std::uint8_t m_nPending = s_nForeign;
};

// Clean runs of either form mean the same to both readers.
struct separatedReader : hexReader {
    using hexReader::hexReader;
    std::size_t takeClean(const char* pText, std::size_t n) {
        const std::size_t nTaken = takeSpaced(pText, n);
        return nTaken != 0 ? nTaken : takePacked(pText, n);
    }
    void put(char c) {
        const std::uint8_t nValue = base16Value(c);
        if (nValue == s_nForeign)
            putPending();
        else
            putDigit(nValue);
    }
    void finish() {}  // A digit alone at the end is dropped.
};

struct packedReader : hexReader {
    using hexReader::hexReader;
    std::size_t takeClean(const char* pText, std::size_t n) {
        const std::size_t nTaken = takePacked(pText, n);
        return nTaken != 0 ? nTaken : takeSpaced(pText, n);
    }
    void put(char c) {
        const std::uint8_t nValue = base16Value(c);
        if (nValue != s_nForeign) putDigit(nValue);
    }
    void finish() { putPending(); }
};

struct base64Reader {
    explicit base64Reader(const codecKernels& kernels) : m_kernels(kernels) {}

    static std::size_t mostBytes(std::size_t nText) { return nText / 4 * 3 + 3; }
    static bool isForeign(char c) { return base64Value(c) == s_nForeign; }
    bool isIdle() const { return m_nPending == 0; }
    bool isEnded() const { return m_bEnded; }

    std::size_t takeClean(const char* pText, std::size_t n) {
        const std::size_t nTaken = m_kernels.decodeBase64(pText, n, m_pOut);
        m_pOut += nTaken / 4 * 3;
        return nTaken;
    }

    void put(char c) {
        const std::uint8_t nValue = base64Value(c);
        if (nValue == s_nForeign) {
            m_bEnded = c == '=';
            return;
        }
        m_nGroup = m_nGroup << 6 | nValue;
        if (++m_nPending < 4) return;
        putBytes(3);
        m_nPending = 0;
    }

    void finish() {
        if (m_nPending < 2) return;
        m_nGroup <<= 6 * (4 - m_nPending);
        putBytes(m_nPending - 1);
    }

    void putBytes(unsigned nCount) {
        for (unsigned i = 0; i < nCount; ++i)
            *m_pOut++ = static_cast<std::uint8_t>(m_nGroup >> (16 - 8 * i));
    }

    const codecKernels& m_kernels;
    std::uint8_t* m_pOut = nullptr;
    std::uint32_t m_nGroup = 0;  // The values of the group so far, 6 bits each.
    unsigned m_nPending = 0;     // How many there are.
    bool m_bEnded = false;
};

// Reads [p, pEnd) until the reader's end of text. Where clean runs are short, they are not looked for
// at each character; none begins at a foreign one, so a line end of two characters and an indentation
// do not count as short runs.
template <typename READER>
void readPiece(READER& reader, const char* p, const char* pEnd) {
    constexpr std::ptrdiff_t nShort = 32;
    const char* pTryNext = p;
    while (p != pEnd && !reader.isEnded()) {
        if (p >= pTryNext && reader.isIdle() && !READER::isForeign(*p)) {
            const auto nTaken =
                static_cast<std::ptrdiff_t>(reader.takeClean(p, static_cast<std::size_t>(pEnd - p)));
            p += nTaken;
            if (p == pEnd) return;
            if (nTaken < nShort) pTryNext = p + std::min(nShort, pEnd - p);
        }
        reader.put(*p++);
    }
}

template <typename READER>
std::vector<unsigned char> decode(const codecKernels& kernels, std::string_view strText) {
    READER reader(kernels);
    // At most 3 bytes for 4 characters, what was pending before the piece, and the slack.
    std::uint8_t aPiece[s_nPieceText / 4 * 3 + 4 + s_nCodecSlack];
    const std::size_t nMost = READER::mostBytes(strText.size());
    std::vector<unsigned char> bytes;
    for (;;) {
        const std::string_view strPiece = strText.substr(0, s_nPieceText);
        strText.remove_prefix(strPiece.size());
        reader.m_pOut = aPiece;
        readPiece(reader, strPiece.data(), strPiece.data() + strPiece.size());
        const bool bLast = strText.empty() || reader.isEnded();
        if (bLast) reader.finish();
        if (bLast && bytes.empty()) return {aPiece, reader.m_pOut};
        if (bytes.empty()) bytes.reserve(nMost);
        bytes.insert(bytes.end(), aPiece, reader.m_pOut);
        if (bLast) return bytes;
    }
}

}  // namespace

std::string codecBin2Text(const codecKernels& kernels, const void* pData, int nLength) {
    const std::size_t n = usableLength(pData, nLength);
    return encode(kernels.encodeSpaced, pData, n, 3 * n);
}

std::string codecBin2Base16(const codecKernels& kernels, const void* pData, int nLength) {
    const std::size_t n = usableLength(pData, nLength);
    return encode(kernels.encodeBase16, pData, n, 2 * n);
}

std::string codecBin2Base64(const codecKernels& kernels, const void* pData, int nLength) {
    const std::size_t n = usableLength(pData, nLength);
    return encode(kernels.encodeBase64, pData, n, (n + 2) / 3 * 4);
}

std::vector<unsigned char> codecText2Bin(const codecKernels& kernels, std::string_view strText) {
    return decode<separatedReader>(kernels, strText);
}

std::vector<unsigned char> codecBase162Bin(const codecKernels& kernels, std::string_view strText) {
    return decode<packedReader>(kernels, strText);
}

std::vector<unsigned char> codecBase642Bin(const codecKernels& kernels, std::string_view strText) {
    return decode<base64Reader>(kernels, strText);
}

bool codecFetchBase16(const codecKernels& kernels, std::string_view strText, void* pOut, int nLength) {
    if (nLength < 0 || strText.size() != 2 * static_cast<std::size_t>(nLength)) return false;
    if (nLength == 0) return true;
    if (pOut == nullptr) return false;
    auto pByte = static_cast<std::uint8_t*>(pOut);
    while (!strText.empty()) {
        const std::size_t nTaken = kernels.decodeBase16(strText.data(), strText.size(), pByte);
        pByte += nTaken / 2;
        strText.remove_prefix(nTaken);
        const std::string_view strPairs = strText.substr(0, 32);
        for (std::size_t i = 0; i < strPairs.size(); i += 2)
            *pByte++ =
                static_cast<std::uint8_t>(base16Value(strPairs[i]) << 4 | base16Value(strPairs[i + 1]));
        strText.remove_prefix(strPairs.size());
    }
    return true;
}

}  // namespace vdx
