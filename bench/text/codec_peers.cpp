// The codecs of other libraries, each by its quickest form that gives a new block of memory.
#include "text/codec_peers.h"

#include <botan/base64.h>
#include <botan/hex.h>
#include <cryptopp/base64.h>
#include <cryptopp/filters.h>
#include <cryptopp/hex.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <boost/beast/core/detail/base64.hpp>
#include <cstring>

namespace {

peerResult newResult(std::size_t n) {
    return {std::make_unique_for_overwrite<std::uint8_t[]>(n), n};
}

const std::uint8_t* bytes(const std::string& s) {
    return reinterpret_cast<const std::uint8_t*>(s.data());
}

peerResult opensslHex(const std::string& strBytes, char cSeparator) {
    peerResult result = newResult(strBytes.size() * 3 + 1);
    OPENSSL_buf2hexstr_ex(reinterpret_cast<char*>(result.pBytes.get()), result.nSize, &result.nSize,
                          bytes(strBytes), strBytes.size(), cSeparator);
    return result;
}

peerResult opensslUnhex(const std::string& strText, char cSeparator) {
    peerResult result = newResult(strText.size() / 2);
    OPENSSL_hexstr2buf_ex(result.pBytes.get(), result.nSize, &result.nSize, strText.c_str(), cSeparator);
    return result;
}

// Runs one of the filters over the input, into a block of n bytes.
template <typename FILTER>
peerResult filter(FILTER&& codec, const std::string& strInput, std::size_t n) {
    peerResult result = newResult(n);
    auto* pSink = new CryptoPP::ArraySink(result.pBytes.get(), n);
    codec.Attach(pSink);  // Takes the sink over.
    codec.Put(bytes(strInput), strInput.size());
    codec.MessageEnd();
    result.nSize = static_cast<std::size_t>(pSink->TotalPutLength());
    return result;
}

}  // namespace

peerResult openssl::encodeHex(const std::string& strBytes) {
    return opensslHex(strBytes, '\0');
}
peerResult openssl::decodeHex(const std::string& strText) {
    return opensslUnhex(strText, '\0');
}
peerResult openssl::encodeSpaced(const std::string& strBytes) {
    return opensslHex(strBytes, ' ');
}
peerResult openssl::decodeSpaced(const std::string& strText) {
    return opensslUnhex(strText, ' ');
}

peerResult openssl::encodeBase64(const std::string& strBytes) {
    peerResult result = newResult(strBytes.size() / 3 * 4 + 5);
    EVP_EncodeBlock(result.pBytes.get(), bytes(strBytes), static_cast<int>(strBytes.size()));
    return result;
}

peerResult openssl::decodeBase64(const std::string& strText) {
    peerResult result = newResult(strText.size() / 4 * 3);
    EVP_DecodeBlock(result.pBytes.get(), bytes(strText), static_cast<int>(strText.size()));
    return result;
}

peerResult openssl::decodeLines(const std::string& strText) {
    peerResult result = newResult(strText.size() / 4 * 3 + 3);
    EVP_ENCODE_CTX* pContext = EVP_ENCODE_CTX_new();
    EVP_DecodeInit(pContext);
    int nFirst = 0, nLast = 0;
    EVP_DecodeUpdate(pContext, result.pBytes.get(), &nFirst, bytes(strText),
                     static_cast<int>(strText.size()));
    EVP_DecodeFinal(pContext, result.pBytes.get() + nFirst, &nLast);
    EVP_ENCODE_CTX_free(pContext);
    result.nSize = static_cast<std::size_t>(nFirst + nLast);
    return result;
}

peerResult botan::encodeHex(const std::string& strBytes) {
    peerResult result = newResult(strBytes.size() * 2);
    Botan::hex_encode(reinterpret_cast<char*>(result.pBytes.get()), bytes(strBytes), strBytes.size(), true);
    return result;
}

peerResult botan::decodeHex(const std::string& strText) {
    peerResult result = newResult(strText.size() / 2);
    result.nSize = Botan::hex_decode(result.pBytes.get(), strText.data(), strText.size(), true);
    return result;
}

peerResult botan::encodeBase64(const std::string& strBytes) {
    peerResult result = newResult(Botan::base64_encode_max_output(strBytes.size()));
    std::size_t nConsumed = 0;
    result.nSize = Botan::base64_encode(reinterpret_cast<char*>(result.pBytes.get()), bytes(strBytes),
                                        strBytes.size(), nConsumed, true);
    return result;
}

peerResult botan::decodeBase64(const std::string& strText) {
    peerResult result = newResult(Botan::base64_decode_max_output(strText.size()));
    result.nSize = Botan::base64_decode(result.pBytes.get(), strText.data(), strText.size(), true);
    return result;
}

peerResult cryptopp::encodeHex(const std::string& strBytes) {
    return filter(CryptoPP::HexEncoder(), strBytes, strBytes.size() * 2);
}

peerResult cryptopp::decodeHex(const std::string& strText) {
    return filter(CryptoPP::HexDecoder(), strText, strText.size() / 2);
}

peerResult cryptopp::encodeSpaced(const std::string& strBytes) {
    return filter(CryptoPP::HexEncoder(nullptr, true, 2, " ", " "), strBytes, strBytes.size() * 3);
}

peerResult cryptopp::encodeBase64(const std::string& strBytes) {
    return filter(CryptoPP::Base64Encoder(nullptr, false), strBytes, (strBytes.size() + 2) / 3 * 4);
}

peerResult cryptopp::decodeBase64(const std::string& strText) {
    return filter(CryptoPP::Base64Decoder(), strText, strText.size() / 4 * 3);
}

peerResult beast::encodeBase64(const std::string& strBytes) {
    namespace base64 = boost::beast::detail::base64;
    peerResult result = newResult(base64::encoded_size(strBytes.size()));
    result.nSize = base64::encode(result.pBytes.get(), strBytes.data(), strBytes.size());
    return result;
}

peerResult beast::decodeBase64(const std::string& strText) {
    namespace base64 = boost::beast::detail::base64;
    peerResult result = newResult(base64::decoded_size(strText.size()));
    result.nSize = base64::decode(result.pBytes.get(), strText.data(), strText.size()).first;
    return result;
}

peerResult copyBytes(const std::string& strBytes) {
    peerResult result = newResult(strBytes.size());
    std::memcpy(result.pBytes.get(), strBytes.data(), strBytes.size());
    return result;
}
