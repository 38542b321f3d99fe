// AES, RC4 and passwords against OpenSSL and Botan. Every run makes a new result, except where
// the work is in place.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vdx/cipher.h>
#include <vdx/password.h>

#include "crypto/cipher_peers.h"
#include "support/ratio.h"

namespace {

using benchmark::RegisterBenchmark;
using benchmark::State;
using MakePeer = std::unique_ptr<AesPeer> (*)(const Bytes&, bool);

Bytes sampleBytes(std::size_t n) {
    Bytes bytes(n);
    for (std::size_t i = 0; i < n; ++i)
        bytes[i] = static_cast<unsigned char>(i * 151 + i / 256);
    return bytes;
}

int sizeOf(const Bytes& bytes) {
    return static_cast<int>(bytes.size());
}

const struct {
    const char* szName;
    MakePeer make;
} kPeers[] = {{"openssl", opensslAes}, {"botan", botanAes}};

// One kind of AES work with one key size in one direction.
struct AesWork {
    std::size_t nKey;
    bool bEncrypt;

    std::string title() const {
        return "AES-" + std::to_string(nKey * 8) + (bEncrypt ? " encrypt" : " decrypt");
    }
};

void addBuffer(const AesWork& work, std::size_t nSize, const char* szSize, double goal) {
    const std::string strTitle = work.title() + ", " + szSize;
    const Bytes key = sampleBytes(work.nKey), data = sampleBytes(nSize);
    RegisterBenchmark((strTitle + "/vdx").c_str(), [=](State& state) {
        const aesEncrypt cipher(key.data(), sizeOf(key));
        for (auto _ : state) {
            const Bytes result = work.bEncrypt ? cipher.Encrypt(data.data(), sizeOf(data), PaddingZeros)
                                               : cipher.Decrypt(data.data(), sizeOf(data), PaddingZeros);
            benchmark::DoNotOptimize(result.data());
        }
    });
    std::vector<std::string> peers;
    for (const auto& peer : kPeers) {
        peers.push_back(strTitle + "/" + peer.szName);
        RegisterBenchmark(peers.back().c_str(), [=](State& state) {
            const auto pPeer = peer.make(key, work.bEncrypt);
            for (auto _ : state) {
                const Bytes result = pPeer->run(data);
                benchmark::DoNotOptimize(result.data());
            }
        });
    }
    vdx::bench::addFigure({strTitle, strTitle + "/vdx", peers, goal});
}

void addBlock(const AesWork& work) {
    const std::string strTitle = work.title() + ", one block";
    const Bytes key = sampleBytes(work.nKey);
    RegisterBenchmark((strTitle + "/vdx").c_str(), [=](State& state) {
        Bytes block(16), schedule(240);
        aesEncrypt cipher(key.data(), sizeOf(key));
        std::memcpy(schedule.data(), &cipher, 240);  // The object begins with its schedule.
        const int nLength = 4 * sizeOf(key) + 112;
        const auto run = work.bEncrypt ? aesEncrypt128bit : aesDecrypt128bit;
        for (auto _ : state) {
            run(block.data(), schedule.data(), nLength, block.data());
            benchmark::DoNotOptimize(block.data());
        }
    });
    RegisterBenchmark((strTitle + "/botan").c_str(), [=](State& state) {
        Bytes block(16);
        const auto pPeer = botanAes(key, work.bEncrypt);
        for (auto _ : state) {
            pPeer->runBlock(block.data());
            benchmark::DoNotOptimize(block.data());
        }
    });
    vdx::bench::addFigure({strTitle, strTitle + "/vdx", {strTitle + "/botan"}, 0.9});
}

void addKeySetUp(std::size_t nKey) {
    const std::string strTitle = "AES-" + std::to_string(nKey * 8) + " key set-up";
    RegisterBenchmark((strTitle + "/vdx").c_str(), [=](State& state) {
        Bytes key = sampleBytes(nKey);
        aesEncrypt cipher(nullptr, 0);
        for (auto _ : state) {
            ++key[0];
            cipher.SetKey(key.data(), sizeOf(key));
            benchmark::DoNotOptimize(&cipher);
        }
    });
    RegisterBenchmark((strTitle + "/botan").c_str(), [=](State& state) {
        Bytes key = sampleBytes(nKey);
        const auto pPeer = botanAes(key, true);
        for (auto _ : state) {
            ++key[0];
            pPeer->setKey(key);
            benchmark::DoNotOptimize(pPeer.get());
        }
    });
    vdx::bench::addFigure({strTitle, strTitle + "/vdx", {strTitle + "/botan"}, 0.9});
}

template <class Stream, class Transfer>
void runRc4(State& state, Stream& stream, Transfer transfer) {
    Bytes data = sampleBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        transfer(stream, data);
        benchmark::DoNotOptimize(data.data());
    }
}

void BM_Rc4_vdx(State& state) {
    rc4Transfer stream(sampleBytes(16).data(), 16);
    runRc4(state, stream, [](rc4Transfer& s, Bytes& data) { s.Transfer(data.data(), sizeOf(data)); });
}
BENCHMARK(BM_Rc4_vdx)->Arg(1024)->Arg(1 << 20);

void BM_Rc4_openssl(State& state) {
    Rc4Peer stream(sampleBytes(16));
    runRc4(state, stream, [](Rc4Peer& s, Bytes& data) { s.transfer(data.data(), data.size()); });
}
BENCHMARK(BM_Rc4_openssl)->Arg(1024)->Arg(1 << 20);
VDX_FIGURE("RC4, 1 KiB", "BM_Rc4_vdx/1024", {"BM_Rc4_openssl/1024"}, 0.85);
VDX_FIGURE("RC4, 1 MiB", "BM_Rc4_vdx/1048576", {"BM_Rc4_openssl/1048576"}, 0.85);

std::string samplePassword(const State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'p');
}

const unsigned char* defaultKey() {
    return reinterpret_cast<const unsigned char*>(szMorvaneKey);
}

void BM_PswEncrypt_vdx(State& state) {
    const std::string strPlain = samplePassword(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(pswEncrypt(strPlain));
}
BENCHMARK(BM_PswEncrypt_vdx)->Arg(12)->Arg(40);

void BM_PswEncrypt_openssl(State& state) {
    PasswordPeer peer;
    const std::string strPlain = samplePassword(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(peer.encrypt(strPlain, defaultKey()));
}
BENCHMARK(BM_PswEncrypt_openssl)->Arg(12)->Arg(40);
VDX_FIGURE("Password encrypt, 12 characters", "BM_PswEncrypt_vdx/12", {"BM_PswEncrypt_openssl/12"}, 5.0);
VDX_FIGURE("Password encrypt, 40 characters", "BM_PswEncrypt_vdx/40", {"BM_PswEncrypt_openssl/40"}, 5.0);

void BM_PswDecrypt_vdx(State& state) {
    const std::string strText = pswEncrypt(samplePassword(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(pswDecrypt(strText));
}
BENCHMARK(BM_PswDecrypt_vdx)->Arg(12)->Arg(40);

void BM_PswDecrypt_openssl(State& state) {
    PasswordPeer peer;
    const std::string strText = pswEncrypt(samplePassword(state));
    if (peer.decrypt(strText, defaultKey()) != samplePassword(state)) state.SkipWithError("peer differs");
    for (auto _ : state)
        benchmark::DoNotOptimize(peer.decrypt(strText, defaultKey()));
}
BENCHMARK(BM_PswDecrypt_openssl)->Arg(12)->Arg(40);
VDX_FIGURE("Password decrypt, 12 characters", "BM_PswDecrypt_vdx/12", {"BM_PswDecrypt_openssl/12"}, 5.0);
VDX_FIGURE("Password decrypt, 40 characters", "BM_PswDecrypt_vdx/40", {"BM_PswDecrypt_openssl/40"}, 5.0);

[[maybe_unused]] const bool s_bAes = [] {
    for (const std::size_t nKey : {16U, 24U, 32U}) {
        for (const bool bEncrypt : {true, false}) {
            const AesWork work{nKey, bEncrypt};
            addBuffer(work, 16, "16 B", 1.0);
            addBuffer(work, 1024, "1 KiB", 1.2);
            addBuffer(work, 1 << 20, "1 MiB", 1.4);
            addBlock(work);
        }
        addKeySetUp(nKey);
    }
    return true;
}();

}  // namespace
