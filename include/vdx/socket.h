// Sockets over IPv4 and IPv6: streams with a receive buffer, listening, datagrams.
#pragma once

#include <sys/select.h>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <vdx/address.h>
#include <vdx/export.h>

struct iovec;
namespace vdx::net {
class WaitLimit;
}

// Example:
//   chSocketTCP client;
//   chInAddr host;
//   if (!sockParseAddress("127.0.0.1", host) || !client.CreateSocket(AF_INET)) return false;
//   if (!client.ConnectTo(chSocketAddr(host, nPort), 2000)) return false;
//   client.Send("ping", 4);
//   char answer[4] = {};
//   if (client.Receive(answer, 4, 1000) != 4) vdxOutputWarningString("no answer");
//
// Time limits are in milliseconds. -1 is no limit, except in the calls that wait
// for a number of bytes (waitForBufferBytes, peek, Receive): there a limit below 1
// means that nothing is received and only buffered bytes count. Other negative
// limits fail. A signal does not shorten a wait.
//
// Every descriptor is closed on exec. A closed peer is an error, never a signal. A
// descriptor of 1024 or more cannot be waited for: such a call fails, a connection
// on it ends.
//
// Thread-safety: one object, one thread at a time. Errors: false or a negative
// result, with errno from the system where it has one.

// A set of descriptors to wait for; any from 0 to 1023.
class VDX_API chFD_SET {
public:
    chFD_SET();                  // Empty.
    explicit chFD_SET(int nFd);  // With one descriptor, as by add.

    // False for a descriptor outside 0 to 1023. Waits on a set to which such a one
    // was added fail (-1, EBADF) until clear(): a wait without limit would never end.
    bool add(int nFd);
    void clear();  // Empty again.

    bool isSet(int nFd) const;               // False outside 0 to 1023, too.
    int getFdMax() const { return m_nMax; }  // -1: empty.
    fd_set* getFdSet() { return &m_set; }    // The set itself, for calls of the system.

    // Wait until a descriptor of the set can be read (written), or has an exceptional
    // condition; those that do are left in the set. How many conditions were met (a
    // descriptor may count twice), 0 after the time limit, -1 and errno on failure.
    int readSelect(int nTimeout);
    int writeSelect(int nTimeout);

private:
    int select(int nTimeout, bool bRead);

    fd_set m_set;
    int m_nMax;
    bool m_bRefused;
};

// A descriptor, closed with the object.
class VDX_API chSocket {
public:
    chSocket() = default;
    virtual ~chSocket();
    chSocket(const chSocket&) = delete;
    chSocket& operator=(const chSocket&) = delete;

    // Closes what is open, then opens socket(domain, type, protocol).
    bool CreateSocket(int nDomain, int nType, int nProtocol);
    bool Bind(const chSocketAddr& address);  // The system's bind.
    virtual void DestroySocket();            // Closes; nothing happens when none is open.

    bool isValidSocket() const { return m_nFd >= 0; }  // Whether a descriptor is open.
    int fd() const { return m_nFd; }                   // -1: none.

    // chFD_SET::readSelect of this descriptor alone.
    int socketSelect(int nTimeout) const;

protected:
    bool adopt(int nFd);  // Closes what is open; false for -1.

private:
    int m_nFd = -1;
};

// A connection with a buffer of bytes that were received and not yet consumed.
//
// The socket is non-blocking. The end of the connection (closed by the peer, or an
// error) keeps what is buffered readable and the descriptor open.
class VDX_API chSocketTCP : public chSocket {
public:
    chSocketTCP() = default;
    ~chSocketTCP() override;

    // An unbound stream socket of AF_INET or AF_INET6; closes first what is open.
    bool CreateSocket(int nDomain);

    // A socket bound to a local address, which needs a port and must be neither IPv6
    // multicast nor the IPv4 broadcast address.
    bool CreateSocket(const chSocketAddr& local);
    bool CreateSocket(const std::string& host, int nPort);

    // Empties the buffer and connects. A call after the limit passed goes on waiting
    // for the same connection. Where a connection of this socket has failed or ended,
    // a fresh descriptor (bound alike) takes the old one's place first. No address,
    // or a host text that is none (see chInAddr::fromString), changes nothing.
    bool ConnectTo(const chSocketAddr& peer, int nTimeout);
    bool ConnectTo(const std::string& host, int nPort, int nTimeout);

    // When connected: shuts the connection down and empties the buffer.
    void Disconnect();
    void DestroySocket() override;  // Disconnects and closes.

    // Whether a connection stands, as far as calls on this object have noticed.
    bool isConnected() const { return m_bConnected; }

    // Whether the connection still stands; receives at most one byte, waiting 1 ms.
    bool TestConnectivity();

    // Sends all bytes, waiting without limit while the peer takes none. False, and a
    // trace line at level 7, when the connection ended first or nBytes is negative.
    // 0 bytes: whether connected. Each attempt that the system refuses, a full send
    // buffer included, traces a line at level 7.
    bool Send(const void* pData, int nBytes);

    // Receives once, at most nMaxBytes, into the buffer. The count; 0 after the time
    // limit, or for nMaxBytes below 1; -1 when the connection ended.
    int selectAndReceive(int nMaxBytes, int nTimeout);

    // Receives until that many bytes are buffered.
    bool waitForBufferBytes(int nBytes, int nTimeout);

    // Waits until nOffset + nBytes are buffered and copies the last nBytes of them;
    // consumes nothing. False, and `out` unchanged, when they did not come.
    bool peek(std::vector<unsigned char>& out, int nOffset, int nBytes, int nTimeout);
    bool peek(void* pOut, int nOffset, int nBytes, int nTimeout);

    // Drops that many buffered bytes from the front: all of them if there are fewer,
    // none for a negative number.
    void seek(int nBytes);
    void seekToEnd();  // Drops everything buffered.

    // Waits for nBytes, then moves what is buffered, at most nBytes, to pOut. The
    // count, 0 when nothing came in time, -1 when nothing is buffered and the
    // connection has ended.
    int Receive(void* pOut, int nBytes, int nTimeout);

    // When connected and nothing is buffered, receives once (at most 65535 bytes).
    // The number of bytes buffered; without any, 0 when connected and -1 otherwise.
    int ReceiveToBuffer(int nTimeout);

    // The same, and moves everything buffered into `out`.
    int ReceiveStream(std::vector<unsigned char>& out, int nTimeout);

protected:
    // Bytes received and not yet consumed: [nBegin, nEnd) of the storage. Dropping
    // moves nBegin; what is left moves to the front only when at least as much was
    // dropped before it, so each byte costs constant time however much is buffered.
    struct Bytes {
        std::vector<unsigned char> storage;  // As large as was ever needed.
        std::size_t nBegin = 0;              // The first byte that is not consumed.
        std::size_t nEnd = 0;                // Behind the last byte received.

        std::size_t size() const { return nEnd - nBegin; }  // Bytes not yet consumed.
        // The first of them.
        const unsigned char* data() const { return storage.data() + nBegin; }
        unsigned char* room(std::size_t nBytes);  // Writable; nEnd += what was written.
        void drop(std::size_t nBytes);            // At most size().
        void clear() { nBegin = nEnd = 0; }       // Drops everything.
    };

    // Receives until nWanted bytes are buffered; never more than are missing.
    bool receiveUntil(std::int64_t nWanted, int nTimeout);
    // One receive into memory, waiting as the limit allows: count, 0 time over, -1.
    int receiveInto(void* pOut, std::size_t nBytes, vdx::net::WaitLimit& limit);
    // Sends the pieces as one run of bytes, as Send does.
    bool sendPieces(iovec* pPieces, int nPieces);
    // The connection has ended: shut down, not connected, buffer kept.
    void dropConnection();

    Bytes m_received;                      // What the class comment calls the buffer.
    std::vector<unsigned char> m_scratch;  // Where receives of unknown length go first.

private:
    friend class chSocketTCPServer;

    int receiveSome(std::size_t nMaxBytes, vdx::net::WaitLimit& limit);
    bool handleSendError(int nSent);
    bool renewFor(const chSocketAddr& peer);
    void forgetConnection();

    bool m_bConnected = false;
    bool m_bSpent = false;         // A connection on this descriptor failed or ended.
    bool m_bReplyAwaited = false;  // Nothing was received since the last send.
    chSocketAddr m_local;          // What CreateSocket bound the descriptor to, if anything.
    chSocketAddr m_peer;           // What ConnectTo tried last.
};

// A listening socket.
class VDX_API chSocketTCPServer : public chSocketTCP {
public:
    // Listens with a queue of so many connections. Requires: created with a local address.
    bool SocketListen(int nBacklog);

    // Waits for a connection and puts it into `client`, in place of what that held.
    // The peer's address is written to pPeer (if not null) up to 28 bytes when pPeer
    // holds an IPv6 address already, else up to 16: an IPv6 peer needs the former. False
    // after the time limit or on failure (no descriptor left, connection gone);
    // `client` is then as it was.
    bool AcceptOnSocket(chSocketTCP& client, chSocketAddr* pPeer, int nTimeout);
};

// A datagram socket that remembers who sent the last datagram.
class VDX_API chSocketUDP : public chSocket {
public:
    // An unbound datagram socket of AF_INET or AF_INET6; closes first what is open.
    bool CreateSocket(int nDomain);
    void DestroySocket() override;  // Closes.

    // Bound to a local address; the same addresses are refused as by chSocketTCP.
    bool CreateSocket(const chSocketAddr& local);
    bool CreateSocket(const std::string& host, int nPort);

    // Waits for one datagram and takes it into the buffer. Its length; 0 after the
    // time limit (or for an empty datagram), -1 on failure. Uses the socket's own
    // receive limit (SO_RCVTIMEO).
    int ReceiveToBuffer(int nTimeout);

    // The same, and moves a datagram that is not empty into `out`, its sender (cut to
    // 16 bytes: IPv4) into pFrom if not null.
    int ReceiveFrom(std::vector<unsigned char>& out, chSocketAddr* pFrom, int nTimeout);

    // Sends one datagram to an IPv4 address; IPv6 ones fail. True without sending for
    // a null pointer or less than 1 byte.
    bool SendTo(const void* pData, int nBytes, const chSocketAddr& to);

private:
    bool setReceiveLimit(int nTimeout);
    int receiveDatagram(int nTimeout);

    std::vector<unsigned char> m_buffer;
    std::size_t m_nDatagram = 0;  // Bytes of the buffer that hold a datagram.
    chSocketAddr m_sender;
    int m_nReceiveLimit = -1;  // As the socket has it.
};

// --- The platform's calls ---------------------------------------------------
// Each returns the call's result: -1 and errno on failure. A negative size fails
// with EINVAL. Where an address stands without a length, the length is 28 for
// AF_INET6 and 16 for anything else.

VDX_API int sockClose(int nFd);                         // 0, or -1.
VDX_API bool sockListen(int nFd, int nBacklog);         // Whether it listens now.
VDX_API bool sockSetBlocking(int nFd, bool bBlocking);  // Whether that could be set.

// Connects within a time limit. True when connected, now or before. A descriptor
// whose connect was refused should not be used again.
VDX_API bool sockAsyncConnect(int nFd, const sockaddr* pAddress, int nTimeout);

// The new descriptor is closed on exec. Both pointers may be null.
VDX_API int sockAccept(int nFd, sockaddr* pAddress, int* pLength);
VDX_API int sockShutdown(int nFd);  // Both directions.

// Bytes waiting in the system's buffer.
VDX_API int sockPeekRecvLength(int nFd);

// The number of bytes received, 0 at the end of a stream. Of the sender's address at most *pLength
// bytes are written, and its length there; nothing of it when one of the pointers is null.
VDX_API int sockRecv(int nFd, void* pOut, int nBytes, int nFlags);
VDX_API int sockRecvFrom(int nFd, void* pOut, int nBytes, int nFlags, sockaddr* pFrom, int* pLength);

// A closed peer gives EPIPE and no signal, whatever the flags.
VDX_API int sockSend(int nFd, const void* pData, int nBytes, int nFlags);

// nLength 0: by the address's family.
VDX_API int sockSendTo(int nFd, const void* pData, int nBytes, int nFlags, const sockaddr* pTo,
                       int nLength = 0);
