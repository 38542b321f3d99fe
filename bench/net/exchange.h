// One length-prefixed exchange over loop-back TCP in three implementations.
#pragma once

#include <arpa/inet.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#include <asio.hpp>
#pragma GCC diagnostic pop

#include <vdx/packet.h>

namespace vdx::bench {

using Packet = std::vector<unsigned char>;

// Both ends run on one processor: what is compared is work, not how fast the other
// processor wakes up.
inline void useOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one);
}

inline sockaddr_in loopback(std::uint16_t nPort = 0) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(nPort);
    return address;
}

// A listening descriptor of the system's choice of port.
inline int listenRaw(sockaddr_in& address) {
    const int nFd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    address = loopback();
    socklen_t nLength = sizeof address;
    bind(nFd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(nFd, reinterpret_cast<sockaddr*>(&address), &nLength);
    listen(nFd, 64);
    return nFd;
}

inline chSocketAddr toVdx(const sockaddr_in& address) {
    return chSocketAddr(chInAddr(address.sin_addr), ntohs(address.sin_port));
}

struct VdxExchange {
    chSocketPacketTCP socket;

    bool send(const Packet& packet) {
        return socket.SendOnePacket(packet.data(), static_cast<int>(packet.size())) != 0;
    }
    bool receive(Packet& packet) { return socket.ReceiveOnePacket(packet, 30000); }

    static void connect(VdxExchange& a, VdxExchange& b) {
        chSocketTCPServer server;
        sockaddr_in address;
        const int nProbe = listenRaw(address);
        close(nProbe);
        server.CreateSocket(toVdx(address));
        server.SocketListen(1);
        a.socket.CreateSocket(AF_INET);
        a.socket.ConnectTo(toVdx(address), 1000);
        server.AcceptOnSocket(b.socket, nullptr, 1000);
    }
};

struct AsioExchange {
    asio::io_context context;
    asio::ip::tcp::socket socket{context};

    bool send(const Packet& packet) {
        const std::uint32_t nLength = htonl(static_cast<std::uint32_t>(packet.size()));
        const std::array<asio::const_buffer, 2> pieces{asio::buffer(&nLength, 4), asio::buffer(packet)};
        asio::error_code error;
        asio::write(socket, pieces, error);
        return !error;
    }
    bool receive(Packet& packet) {
        std::uint32_t nLength = 0;
        asio::error_code error;
        asio::read(socket, asio::buffer(&nLength, 4), error);
        if (error || ntohl(nLength) > chSocketPacketTCP::kMaxPacketBytes) return false;
        packet.resize(ntohl(nLength));
        asio::read(socket, asio::buffer(packet), error);
        return !error;
    }

    static void connect(AsioExchange& a, AsioExchange& b) {
        asio::ip::tcp::acceptor acceptor(b.context, {asio::ip::address_v4::loopback(), 0});
        a.socket.connect(acceptor.local_endpoint());
        acceptor.accept(b.socket);
    }
};

struct RawExchange {
    int nFd = -1;

    ~RawExchange() { close(nFd); }
    bool send(const Packet& packet) const {
        std::uint32_t nLength = htonl(static_cast<std::uint32_t>(packet.size()));
        iovec pieces[] = {{&nLength, 4}, {const_cast<unsigned char*>(packet.data()), packet.size()}};
        iovec* p = pieces;
        int nPieces = 2;
        while (nPieces > 0) {
            msghdr message{};
            message.msg_iov = p;
            message.msg_iovlen = static_cast<std::size_t>(nPieces);
            const ssize_t nSent = sendmsg(nFd, &message, MSG_NOSIGNAL);
            if (nSent <= 0) return false;
            auto nLeft = static_cast<std::size_t>(nSent);
            while (nPieces > 0 && nLeft >= p->iov_len) {
                nLeft -= p->iov_len;
                ++p;
                --nPieces;
            }
            if (nPieces > 0) *p = {static_cast<char*>(p->iov_base) + nLeft, p->iov_len - nLeft};
        }
        return true;
    }
    bool receiveBytes(void* pOut, std::size_t nBytes) const {
        auto* p = static_cast<unsigned char*>(pOut);
        while (nBytes > 0) {
            const ssize_t nGot = recv(nFd, p, nBytes, 0);
            if (nGot <= 0) return false;
            p += nGot;
            nBytes -= static_cast<std::size_t>(nGot);
        }
        return true;
    }
    bool receive(Packet& packet) const {
        std::uint32_t nLength = 0;
        if (!receiveBytes(&nLength, 4) || ntohl(nLength) > chSocketPacketTCP::kMaxPacketBytes) return false;
        packet.resize(ntohl(nLength));
        return receiveBytes(packet.data(), packet.size());
    }

    static void connect(RawExchange& a, RawExchange& b) {
        sockaddr_in address;
        const int nListener = listenRaw(address);
        a.nFd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ::connect(a.nFd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        b.nFd = accept4(nListener, nullptr, nullptr, SOCK_CLOEXEC);
        close(nListener);
    }
};

}  // namespace vdx::bench
