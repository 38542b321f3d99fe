// A packet echo: "packet_echo serve PORT" answers one client after the other,
// "packet_echo ask HOST PORT TEXT..." sends each text and prints the answers. Without
// arguments it does both once, over the loop-back interface.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <vdx/packet.h>
#include <vdx/platform.h>
#include <vdx/warnings.h>

namespace {

constexpr int kLimit = 5000;  // Milliseconds.

bool makeAddress(const char* szHost, const char* szPort, chSocketAddr& out) {
    chInAddr host;
    if (sockParseAddress(szHost, host) && out.CreateSocketAddr(host, std::atoi(szPort))) return true;
    vdxOutputWarningString("%s port %s is no address", szHost, szPort);
    return false;
}

bool listenAt(chSocketTCPServer& server, const chSocketAddr& local) {
    if (server.CreateSocket(local) && server.SocketListen(16)) return true;
    vdxOutputWarningString("cannot listen at %s", local.toString().c_str());
    return false;
}

// Answers until the client goes or says nothing for too long.
int echoTo(chSocketPacketTCP& client) {
    int nPackets = 0;
    std::vector<unsigned char> packet;
    while (client.ReceiveOnePacket(packet, kLimit)) {
        if (client.SendOnePacket(packet.data(), static_cast<int>(packet.size())) == 0) break;
        ++nPackets;
    }
    return nPackets;
}

void serve(chSocketTCPServer& server, int nClients) {
    for (int nServed = 0; nServed != nClients;) {
        chSocketPacketTCP client;
        chSocketAddr from;
        if (!server.AcceptOnSocket(client, &from, -1)) {
            vdxSleep(100);  // Without descriptors, say, it fails at once and again.
            continue;
        }
        const int nPackets = echoTo(client);
        std::printf("%s: %d packets\n", from.toInAddr().toString().c_str(), nPackets);
        ++nServed;
    }
}

bool ask(const chSocketAddr& peer, const std::vector<std::string>& texts) {
    chSocketPacketTCP socket;
    if (!socket.CreateSocket(peer.family()) || !socket.ConnectTo(peer, kLimit)) {
        vdxOutputWarningString("%s does not answer", peer.toString().c_str());
        return false;
    }
    for (const std::string& text : texts) {
        std::vector<unsigned char> answer;
        if (socket.SendOnePacket(text.data(), static_cast<int>(text.size())) == 0 ||
            !socket.ReceiveOnePacket(answer, kLimit)) {
            return false;
        }
        std::printf("> %s\n", std::string(answer.begin(), answer.end()).c_str());
        if (std::string(answer.begin(), answer.end()) != text) return false;
    }
    return true;
}

// A port that is free now: the system's choice.
int freePort() {
    chSocketUDP probe;
    chSocketAddr any(chInAddr(in_addr{htonl(INADDR_LOOPBACK)}), 0);
    socklen_t nLength = sizeof any;
    if (!probe.CreateSocket(AF_INET) || !probe.Bind(any)) return 0;
    return getsockname(probe.fd(), any.toSocketAddr(), &nLength) == 0 ? any.port() : 0;
}

bool both() {
    chSocketAddr address;
    chSocketTCPServer server;
    if (!makeAddress("127.0.0.1", std::to_string(freePort()).c_str(), address) ||
        !listenAt(server, address)) {
        return false;
    }
    std::thread serving([&server] { serve(server, 1); });
    const bool bDone = ask(address, {"one", "two", std::string(100, '3')});
    serving.join();
    return bDone;
}

}  // namespace

int main(int argc, char** argv) {
    chSocketAddr address;
    if (argc == 1) return both() ? 0 : 1;
    if (argc == 3 && std::strcmp(argv[1], "serve") == 0) {
        chSocketTCPServer server;
        if (!makeAddress("0.0.0.0", argv[2], address) || !listenAt(server, address)) return 1;
        serve(server, -1);
    }
    if (argc > 4 && std::strcmp(argv[1], "ask") == 0) {
        return makeAddress(argv[2], argv[3], address) && ask(address, {argv + 4, argv + argc}) ? 0 : 1;
    }
    std::fprintf(stderr, "usage: packet_echo [serve PORT | ask HOST PORT TEXT...]\n");
    return 2;
}
