// Packets: round trips, streams, draining a full buffer.
#include <cstdlib>
#include <memory>
#include <thread>

#include <benchmark/benchmark.h>

#include "net/exchange.h"
#include "support/ratio.h"

namespace {

using namespace vdx::bench;

// A sender that meets a full buffer traces it at level 7: not part of what is compared.
[[maybe_unused]] const int s_nQuiet = setenv("trace", "6:console", 0);

// --- Round trips ------------------------------------------------------------

template <class Exchange>
void BM_RoundTrip(benchmark::State& state) {
    useOneProcessor();
    Exchange client;
    Exchange server;
    Exchange::connect(client, server);
    std::thread echo([&server] {
        Packet packet;
        while (server.receive(packet) && packet.size() > 1 && server.send(packet)) {
        }
    });
    const Packet sent(static_cast<std::size_t>(state.range(0)), 's');
    Packet received;
    for (auto _ : state) {
        if (!client.send(sent) || !client.receive(received) || received.size() != sent.size()) {
            state.SkipWithError("broken");
            break;
        }
    }
    client.send(Packet(1));  // Ends the other side.
    echo.join();
}
#define VDX_ROUND_TRIPS(exchange) \
    BENCHMARK(BM_RoundTrip<exchange>)->Arg(16)->Arg(1024)->Arg(65536)->MeasureProcessCPUTime()
VDX_ROUND_TRIPS(VdxExchange);
VDX_ROUND_TRIPS(AsioExchange);
VDX_ROUND_TRIPS(RawExchange);
#define VDX_ROUND_TRIP_FIGURE(text, size, peer, goal)                                               \
    VDX_FIGURE("Round trip of " text ", " #peer, "BM_RoundTrip<VdxExchange>/" size "/process_time", \
               {"BM_RoundTrip<" #peer "Exchange>/" size "/process_time"}, goal)
VDX_ROUND_TRIP_FIGURE("16 B", "16", Asio, 1.0);
VDX_ROUND_TRIP_FIGURE("16 B", "16", Raw, 0.9);
VDX_ROUND_TRIP_FIGURE("1 KiB", "1024", Asio, 1.0);
VDX_ROUND_TRIP_FIGURE("1 KiB", "1024", Raw, 0.9);
VDX_ROUND_TRIP_FIGURE("64 KiB", "65536", Asio, 0.8);
VDX_ROUND_TRIP_FIGURE("64 KiB", "65536", Raw, 0.8);

// --- Streams ----------------------------------------------------------------

// One iteration is a run of packets one way, of range(1) in all, and an answer to the
// last.
template <class Exchange>
void BM_Stream(benchmark::State& state) {
    useOneProcessor();
    Exchange client;
    Exchange server;
    Exchange::connect(client, server);
    const Packet sent(static_cast<std::size_t>(state.range(0)), 's');
    const auto nPackets = state.range(1);
    std::thread sink([&server, nPackets] {
        Packet packet;
        const Packet done(2);
        for (;;) {
            for (int i = 0; i < nPackets; ++i) {
                if (!server.receive(packet) || packet.size() == 1) return;
            }
            if (!server.send(done)) return;
        }
    });
    Packet answer;
    for (auto _ : state) {
        for (int i = 0; i < nPackets; ++i)
            client.send(sent);
        if (!client.receive(answer)) {
            state.SkipWithError("broken");
            break;
        }
    }
    client.send(Packet(1));
    sink.join();
    state.SetBytesProcessed(state.iterations() * nPackets * state.range(0));
}
#define VDX_STREAMS(exchange) \
    BENCHMARK(BM_Stream<exchange>)->Args({64, 2000})->Args({1 << 20, 16})->MeasureProcessCPUTime()
VDX_STREAMS(VdxExchange);
VDX_STREAMS(AsioExchange);
VDX_FIGURE("2000 packets of 64 B one way", "BM_Stream<VdxExchange>/64/2000/process_time",
           {"BM_Stream<AsioExchange>/64/2000/process_time"}, 0.95);
VDX_FIGURE("16 packets of 1 MiB one way", "BM_Stream<VdxExchange>/1048576/16/process_time",
           {"BM_Stream<AsioExchange>/1048576/16/process_time"}, 1.1);

// --- Draining ---------------------------------------------------------------

// 10,000 packets of 415 bytes (4 MiB with their lengths) that are buffered already, in
// one connection or spread over several.
void BM_Drain(benchmark::State& state) {
    constexpr int kPackets = 10000;
    const auto nConnections = static_cast<int>(state.range(0));
    const int nEach = kPackets / nConnections;
    std::vector<std::unique_ptr<VdxExchange>> ours;
    std::vector<std::unique_ptr<VdxExchange>> peers;
    for (int i = 0; i < nConnections; ++i) {
        ours.push_back(std::make_unique<VdxExchange>());
        peers.push_back(std::make_unique<VdxExchange>());
        VdxExchange::connect(*ours.back(), *peers.back());
    }
    const Packet sent(415, 'd');
    Packet packet;
    for (auto _ : state) {
        state.PauseTiming();
        for (int i = 0; i < nConnections; ++i) {
            std::thread filling([&, i] {
                for (int n = 0; n < nEach; ++n)
                    peers[static_cast<std::size_t>(i)]->send(sent);
            });
            ours[static_cast<std::size_t>(i)]->socket.waitForBufferBytes(nEach * 419, 30000);
            filling.join();
        }
        state.ResumeTiming();
        for (const auto& p : ours) {
            for (int n = 0; n < nEach; ++n) {
                if (!p->socket.ReceiveOnePacket(packet, 0)) state.SkipWithError("packet missing");
            }
        }
    }
}
BENCHMARK(BM_Drain)->Arg(1)->Arg(64)->Iterations(30);
VDX_FIGURE("Draining 10,000 packets, 4 MiB against 64 KiB buffered", "BM_Drain/1/iterations:30",
           {"BM_Drain/64/iterations:30"}, 0.9);

}  // namespace
