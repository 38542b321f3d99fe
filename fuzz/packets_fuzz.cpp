// Arbitrary bytes to the packet receiver, in pieces: it delivers what the format says,
// ends the connection at a length too large, and survives.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <vdx/packet.h>

namespace {

using Packet = std::vector<unsigned char>;

int listener(sockaddr_in& address) {
    const int nFd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nLength = sizeof address;
    if (bind(nFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(nFd, 4) != 0 ||
        getsockname(nFd, reinterpret_cast<sockaddr*>(&address), &nLength) != 0) {
        std::abort();
    }
    return nFd;
}

// What the bytes hold.
std::vector<Packet> expected(const Packet& stream) {
    std::vector<Packet> packets;
    for (std::size_t i = 0; stream.size() - i >= 4;) {
        const std::size_t nLength = std::size_t{stream[i]} << 24 | std::size_t{stream[i + 1]} << 16 |
                                    std::size_t{stream[i + 2]} << 8 | stream[i + 3];
        if (nLength > chSocketPacketTCP::kMaxPacketBytes || stream.size() - i - 4 < nLength) break;
        const auto first = stream.begin() + static_cast<std::ptrdiff_t>(i + 4);
        packets.emplace_back(first, first + static_cast<std::ptrdiff_t>(nLength));
        i += 4 + nLength;
    }
    return packets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static sockaddr_in s_address;
    static const int s_nListener = listener(s_address);
    if (nSize < 2 || nSize > 65536) return 0;
    const Packet stream(pData + 2, pData + nSize);
    chSocketPacketTCP ours;
    if (!ours.CreateSocket(AF_INET) ||
        !ours.ConnectTo(chSocketAddr(chInAddr(s_address.sin_addr), ntohs(s_address.sin_port)), 1000)) {
        std::abort();
    }
    const int nPeer = accept4(s_nListener, nullptr, nullptr, SOCK_CLOEXEC);
    std::vector<Packet> packets;
    Packet packet;
    // The first two bytes say where the stream is cut; after a cut the receiver looks,
    // with a limit or without one.
    const std::size_t cuts[] = {std::min<std::size_t>(pData[0], stream.size()),
                                std::min<std::size_t>(std::size_t{pData[0]} + pData[1], stream.size()),
                                stream.size()};
    std::size_t nSent = 0;
    for (const std::size_t nCut : cuts) {
        if (nCut > nSent) send(nPeer, stream.data() + nSent, nCut - nSent, MSG_NOSIGNAL);
        nSent = nCut;
        while (nCut != stream.size() && ours.ReceiveOnePacket(packet, pData[1] & 1))
            packets.push_back(packet);
    }
    shutdown(nPeer, SHUT_WR);
    while (ours.ReceiveOnePacket(packet, 1000))
        packets.push_back(packet);
    if (packets != expected(stream)) std::abort();
    const linger now{1, 0};  // No connection lingers, however many inputs.
    setsockopt(nPeer, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    close(nPeer);
    return 0;
}
