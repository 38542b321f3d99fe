// The codecs of other libraries, each by its quickest form that gives a new block of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// What a peer made. The memory is not filled before, so that peers do no more work than ours.
struct peerResult {
    std::unique_ptr<std::uint8_t[]> pBytes;
    std::size_t nSize = 0;
};

using peerCodec = peerResult (*)(const std::string& strInput);

namespace openssl {
peerResult encodeHex(const std::string& strBytes);
peerResult decodeHex(const std::string& strText);
peerResult encodeSpaced(const std::string& strBytes);
peerResult decodeSpaced(const std::string& strText);
peerResult encodeBase64(const std::string& strBytes);
peerResult decodeBase64(const std::string& strText);
peerResult decodeLines(const std::string& strText);
}  // namespace openssl

namespace botan {
peerResult encodeHex(const std::string& strBytes);
peerResult decodeHex(const std::string& strText);
peerResult encodeBase64(const std::string& strBytes);
peerResult decodeBase64(const std::string& strText);
}  // namespace botan

namespace cryptopp {
peerResult encodeHex(const std::string& strBytes);
peerResult decodeHex(const std::string& strText);
peerResult encodeSpaced(const std::string& strBytes);
peerResult encodeBase64(const std::string& strBytes);
peerResult decodeBase64(const std::string& strText);
}  // namespace cryptopp

namespace beast {
peerResult encodeBase64(const std::string& strBytes);
peerResult decodeBase64(const std::string& strText);
}  // namespace beast

// The least that any codec has to do: a new block of memory of the input's size, and a copy.
peerResult copyBytes(const std::string& strBytes);
