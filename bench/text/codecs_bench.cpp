// Hexadecimal and base-64 codecs against those of other libraries. Every run makes a new result.
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vdx/codecs.h>

#include "support/ratio.h"
#include "text/codec_peers.h"

namespace {

std::string plainBytes(std::size_t n) {
    std::mt19937 random(1);
    std::string strBytes(n, 0);
    for (char& c : strBytes)
        c = static_cast<char>(random());
    return strBytes;
}

// Inputs of the decoders, for n bytes.
std::string hexText(std::size_t n) {
    return vdxBin2Base16(plainBytes(n).data(), static_cast<int>(n));
}
std::string spacedText(std::size_t n) {
    return vdxBin2Text(plainBytes(n).data(), static_cast<int>(n));
}
std::string base64Text(std::size_t n) {
    return vdxBin2Base64(plainBytes(n).data(), static_cast<int>(n));
}
template <std::size_t nEnd>
std::string base64Lines(std::size_t n) {
    const std::string strText = base64Text(n);
    std::string strLines;
    for (std::size_t i = 0; i < strText.size(); i += 76)
        strLines.append(strText, i, 76).append(nEnd == 2 ? "\r\n" : "\n");
    return strLines;
}

using ownEncoder = std::string (*)(const void*, int);
using ownDecoder = std::vector<unsigned char> (*)(const std::string&);
using ownCodec = std::size_t (*)(const std::string&);

template <ownEncoder ENCODE>
std::size_t own(const std::string& strBytes) {
    const std::string strText = ENCODE(strBytes.data(), static_cast<int>(strBytes.size()));
    benchmark::DoNotOptimize(strText.data());
    return strText.size();
}

template <ownDecoder DECODE>
std::size_t own(const std::string& strText) {
    const std::vector<unsigned char> bytes = DECODE(strText);
    benchmark::DoNotOptimize(bytes.data());
    return bytes.size();
}

std::size_t ownFetch(const std::string& strText) {
    const auto pBytes = std::make_unique_for_overwrite<unsigned char[]>(strText.size() / 2);
    fetchBytesFromBase16(strText, pBytes.get(), static_cast<int>(strText.size() / 2));
    benchmark::DoNotOptimize(pBytes.get());
    return strText.size() / 2;
}

struct peerEntry {
    const char* szName;
    peerCodec pCodec;
};

struct codecEntry {
    const char* szTitle;
    std::string (*pInput)(std::size_t);
    ownCodec pOwn;
    std::vector<peerEntry> peers;
    double dLongGoal;  // From 1 KiB on; 1.5 below.
};

std::vector<codecEntry> allCodecs() {
    const peerEntry copy = {"memcpy", copyBytes};
    return {
        {"hex encode",
         plainBytes,
         own<vdxBin2Base16>,
         {{"OpenSSL", openssl::encodeHex}, {"Botan", botan::encodeHex}, {"Crypto++", cryptopp::encodeHex}},
         9},
        {"hex decode",
         hexText,
         own<vdxBase162Bin>,
         {{"OpenSSL", openssl::decodeHex}, {"Botan", botan::decodeHex}, {"Crypto++", cryptopp::decodeHex}},
         25},
        {"hex fetch",
         hexText,
         ownFetch,
         {{"OpenSSL", openssl::decodeHex}, {"Botan", botan::decodeHex}, {"Crypto++", cryptopp::decodeHex}},
         25},
        {"spaced hex encode",
         plainBytes,
         own<vdxBin2Text>,
         {{"OpenSSL", openssl::encodeSpaced}, {"Crypto++", cryptopp::encodeSpaced}},
         4},
        {"spaced hex decode",
         spacedText,
         own<vdxText2Bin>,
         {{"OpenSSL", openssl::decodeSpaced}, {"Botan", botan::decodeHex}, {"Crypto++", cryptopp::decodeHex}},
         4},
        {"base-64 encode",
         plainBytes,
         own<vdxBin2Base64>,
         {{"OpenSSL", openssl::encodeBase64},
          {"Botan", botan::encodeBase64},
          {"Crypto++", cryptopp::encodeBase64},
          {"Beast", beast::encodeBase64}},
         5},
        {"base-64 decode",
         base64Text,
         own<vdxBase642Bin>,
         {{"OpenSSL", openssl::decodeBase64},
          {"Botan", botan::decodeBase64},
          {"Crypto++", cryptopp::decodeBase64},
          {"Beast", beast::decodeBase64}},
         5},
        {"base-64 decode, lines of 76",
         base64Lines<1>,
         own<vdxBase642Bin>,
         {{"OpenSSL", openssl::decodeLines}},
         5},
        {"base-64 decode, lines of 76 with CR LF",
         base64Lines<2>,
         own<vdxBase642Bin>,
         {{"OpenSSL", openssl::decodeLines}},
         5},
        // How far from the least possible work; no goal.
        {"hex encode beside a copy", plainBytes, own<vdxBin2Base16>, {copy}, 0},
        {"base-64 encode beside a copy", plainBytes, own<vdxBin2Base64>, {copy}, 0},
    };
}

std::string sizeName(std::size_t n) {
    if (n >= 1 << 20) return std::to_string(n >> 20) + " MiB";
    return n >= 1 << 10 ? std::to_string(n >> 10) + " KiB" : std::to_string(n) + " B";
}

void addCodec(const codecEntry& codec, std::size_t n) {
    const std::string strTitle = std::string(codec.szTitle) + ", " + sizeName(n);
    const std::string strInput = codec.pInput(n);
    const auto add = [&](const char* szName, auto run) {
        const std::string strName = strTitle + "/" + szName;
        benchmark::RegisterBenchmark(strName.c_str(), [strInput, run](benchmark::State& state) {
            for (auto _ : state)
                run(strInput);
        });
        return strName;
    };
    std::vector<std::string> peers;
    for (const peerEntry& peer : codec.peers) {
        peers.push_back(add(peer.szName, [pCodec = peer.pCodec](const std::string& strText) {
            const peerResult result = pCodec(strText);
            benchmark::DoNotOptimize(result.pBytes.get());
        }));
    }
    const std::string strOwn = add("vdx", codec.pOwn);
    const double dGoal = n < 1024 && codec.dLongGoal > 0 ? 1.5 : codec.dLongGoal;
    vdx::bench::addFigure({strTitle, strOwn, peers, dGoal});
}

[[maybe_unused]] const bool s_bAdded = [] {
    for (const codecEntry& codec : allCodecs())
        for (const std::size_t n : {std::size_t{64}, std::size_t{1} << 10, std::size_t{1} << 20})
            addCodec(codec, n);
    return true;
}();

}  // namespace
