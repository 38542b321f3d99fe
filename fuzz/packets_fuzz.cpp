// Arbitrary bytes to the packet receiver, in pieces: it delivers what the format says,
// ends the connection at a length too large, and survives.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <vdx/packet.h>

#include "fuzz/fuzz.h"

namespace {

// Listens on a free port, and gives it.
chSocketAddr listenSomewhere(chSocketTCPServer& server) {
    chSocketAddr local(chInAddr(in_addr{htonl(INADDR_LOOPBACK)}), 0);
    socklen_t nLength = sizeof local;
    require(server.CreateSocket(AF_INET) && server.Bind(local) && server.SocketListen(4) &&
            getsockname(server.fd(), local.toSocketAddr(), &nLength) == 0);
    return local;
}

// What the bytes hold.
std::vector<Bytes> expected(const Bytes& stream) {
    std::vector<Bytes> packets;
    for (auto at = stream.begin(); stream.end() - at >= 4;) {
        const std::int64_t nLength = std::int64_t{at[0]} << 24 | at[1] << 16 | at[2] << 8 | at[3];
        at += 4;
        if (nLength > chSocketPacketTCP::kMaxPacketBytes || stream.end() - at < nLength) break;
        packets.emplace_back(at, at + nLength);
        at += nLength;
    }
    return packets;
}

}  // namespace

// The first two bytes say where the stream is cut; after a cut the receiver looks, with a limit or
// without one.
void fuzz(const Bytes& input) {
    static chSocketTCPServer s_server;
    static const chSocketAddr s_address = listenSomewhere(s_server);
    if (input.size() < 2 || input.size() > 65536) return;
    const Bytes stream(input.begin() + 2, input.end());
    chSocketPacketTCP ours;
    chSocketTCP peer;
    require(ours.CreateSocket(AF_INET) && ours.ConnectTo(s_address, 1000) &&
            s_server.AcceptOnSocket(peer, nullptr, 1000));
    std::vector<Bytes> packets;
    Bytes packet;
    int nSent = 0;
    for (const int nCut : {int{input[0]}, input[0] + input[1], sizeOf(stream)}) {
        const int nEnd = std::min(nCut, sizeOf(stream));
        send(peer.fd(), stream.data() + nSent, static_cast<std::size_t>(nEnd - nSent), MSG_NOSIGNAL);
        nSent = nEnd;
        while (nEnd != sizeOf(stream) && ours.ReceiveOnePacket(packet, input[1] & 1))
            packets.push_back(packet);
    }
    shutdown(peer.fd(), SHUT_WR);
    while (ours.ReceiveOnePacket(packet, 1000))
        packets.push_back(packet);
    require(packets == expected(stream));
    const linger now{1, 0};  // No connection lingers, however many inputs.
    setsockopt(peer.fd(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}
