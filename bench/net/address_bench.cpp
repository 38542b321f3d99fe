// IPv4 texts read and written.
#include <arpa/inet.h>
#include <array>

#include <benchmark/benchmark.h>

#include <vdx/address.h>

#include "support/ratio.h"

namespace {

const std::array<std::string, 8>& texts() {
    static const std::array<std::string, 8> s_texts = {"1.2.3.4",         "192.168.100.200", "10.0.0.1",
                                                       "255.255.255.255", "172.16.254.3",    "8.8.8.8",
                                                       "127.0.0.1",       "203.0.113.77"};
    return s_texts;
}

void BM_Parse_inet_pton(benchmark::State& state) {
    in_addr address;
    for (auto _ : state) {
        for (const std::string& text : texts()) {
            benchmark::DoNotOptimize(inet_pton(AF_INET, text.c_str(), &address));
            benchmark::DoNotOptimize(address);
        }
    }
}
BENCHMARK(BM_Parse_inet_pton);

void BM_Parse_fromString(benchmark::State& state) {
    chInAddr address;
    for (auto _ : state) {
        for (const std::string& text : texts()) {
            benchmark::DoNotOptimize(address.fromString(text));
            benchmark::DoNotOptimize(address);
        }
    }
}
BENCHMARK(BM_Parse_fromString);

void BM_Parse_sockParseAddress(benchmark::State& state) {
    chInAddr address;
    for (auto _ : state) {
        for (const std::string& text : texts()) {
            benchmark::DoNotOptimize(sockParseAddress(text, address));
            benchmark::DoNotOptimize(address);
        }
    }
}
BENCHMARK(BM_Parse_sockParseAddress);
VDX_FIGURE("IPv4 text read, fromString", "BM_Parse_fromString", {"BM_Parse_inet_pton"}, 1.1);
VDX_FIGURE("IPv4 text read, sockParseAddress", "BM_Parse_sockParseAddress", {"BM_Parse_inet_pton"}, 1.1);

std::array<in_addr, 8> addresses() {
    std::array<in_addr, 8> result;
    for (std::size_t i = 0; i < result.size(); ++i)
        inet_pton(AF_INET, texts()[i].c_str(), &result[i]);
    return result;
}

void BM_Print_inet_ntop(benchmark::State& state) {
    const auto all = addresses();
    for (auto _ : state) {
        for (const in_addr& address : all) {
            char szText[INET_ADDRSTRLEN];
            std::string text(inet_ntop(AF_INET, &address, szText, sizeof szText));
            benchmark::DoNotOptimize(text);
        }
    }
}
BENCHMARK(BM_Print_inet_ntop);

void BM_Print_vdx(benchmark::State& state) {
    const auto all = addresses();
    for (auto _ : state) {
        for (const in_addr& address : all) {
            std::string text = toString(address);
            benchmark::DoNotOptimize(text);
        }
    }
}
BENCHMARK(BM_Print_vdx);
VDX_FIGURE("IPv4 text written", "BM_Print_vdx", {"BM_Print_inet_ntop"}, 3.0);

}  // namespace
