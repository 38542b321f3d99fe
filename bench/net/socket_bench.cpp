// Connections made and closed; datagrams there and back.
#include <fcntl.h>
#include <thread>

#include <benchmark/benchmark.h>

#include "net/exchange.h"
#include "support/ratio.h"

namespace {

using namespace vdx::bench;

// --- Connect, accept, close -------------------------------------------------

void BM_Connect_vdx(benchmark::State& state) {
    sockaddr_in address;
    close(listenRaw(address));
    chSocketTCPServer server;
    server.CreateSocket(toVdx(address));
    server.SocketListen(64);
    const chSocketAddr peer = toVdx(address);
    for (auto _ : state) {
        chSocketTCP client;
        chSocketTCP accepted;
        if (!client.CreateSocket(AF_INET) || !client.ConnectTo(peer, 1000) ||
            !server.AcceptOnSocket(accepted, nullptr, 1000)) {
            state.SkipWithError("no connection");
            break;
        }
    }
}
BENCHMARK(BM_Connect_vdx);

void BM_Connect_raw(benchmark::State& state) {
    sockaddr_in address;
    const int nListener = listenRaw(address);
    for (auto _ : state) {
        const int nClient = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int nConnected = connect(nClient, reinterpret_cast<sockaddr*>(&address), sizeof address);
        const int nAccepted = accept4(nListener, nullptr, nullptr, SOCK_CLOEXEC);
        if (nConnected != 0 || nAccepted < 0) {
            state.SkipWithError("no connection");
            break;
        }
        close(nAccepted);
        close(nClient);
    }
    close(nListener);
}
BENCHMARK(BM_Connect_raw);
VDX_FIGURE("Connect, accept and close", "BM_Connect_vdx", {"BM_Connect_raw"}, 0.9);

// --- Datagrams --------------------------------------------------------------

constexpr int kDatagram = 64;

void BM_Datagram_vdx(benchmark::State& state) {
    useOneProcessor();
    sockaddr_in a;
    sockaddr_in b;
    const int nProbes[] = {listenRaw(a), listenRaw(b)};
    for (const int nFd : nProbes)
        close(nFd);
    chSocketUDP client;
    chSocketUDP server;
    client.CreateSocket(toVdx(a));
    server.CreateSocket(toVdx(b));
    std::thread echo([&server] {
        Packet packet;
        chSocketAddr from;
        while (server.ReceiveFrom(packet, &from, 30000) > 1)
            server.SendTo(packet.data(), static_cast<int>(packet.size()), from);
    });
    const Packet sent(kDatagram, 'u');
    Packet received;
    const chSocketAddr to = toVdx(b);
    for (auto _ : state) {
        client.SendTo(sent.data(), kDatagram, to);
        if (client.ReceiveFrom(received, nullptr, 30000) != kDatagram) state.SkipWithError("lost");
    }
    client.SendTo("e", 1, to);
    echo.join();
}
BENCHMARK(BM_Datagram_vdx)->MeasureProcessCPUTime();

void BM_Datagram_asio(benchmark::State& state) {
    useOneProcessor();
    using asio::ip::udp;
    asio::io_context context;
    udp::socket client(context, udp::endpoint(asio::ip::address_v4::loopback(), 0));
    udp::socket server(context, udp::endpoint(asio::ip::address_v4::loopback(), 0));
    std::thread echo([&server] {
        Packet packet(65535);
        udp::endpoint from;
        for (;;) {
            const std::size_t nBytes = server.receive_from(asio::buffer(packet), from);
            if (nBytes <= 1) return;
            server.send_to(asio::buffer(packet.data(), nBytes), from);
        }
    });
    const Packet sent(kDatagram, 'u');
    Packet received(65535);
    const udp::endpoint to = server.local_endpoint();
    for (auto _ : state) {
        udp::endpoint from;
        client.send_to(asio::buffer(sent), to);
        if (client.receive_from(asio::buffer(received), from) != kDatagram) state.SkipWithError("lost");
    }
    client.send_to(asio::buffer("e", 1), to);
    echo.join();
}
BENCHMARK(BM_Datagram_asio)->MeasureProcessCPUTime();
VDX_FIGURE("Datagram round trip", "BM_Datagram_vdx/process_time", {"BM_Datagram_asio/process_time"}, 1.0);

}  // namespace
