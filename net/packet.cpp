// Packets over a connection.
#include <sys/uio.h>
#include <algorithm>
#include <cstring>
#include <utility>

#include <vdx/packet.h>
#include <vdx/warnings.h>

#include "net/wait.h"

namespace {

constexpr std::size_t kHeaderBytes = 4;

// Up to here a packet is sent from, and received by way of, a copy: cheaper than a
// second piece or a second buffer.
constexpr std::size_t kSmallPayload = 2044;
constexpr std::size_t kCopiedPayload = 16 * 1024;

// What a payload's memory grows by beyond what has arrived.
constexpr std::size_t kGrowth = 256 * 1024;

void writeLength(unsigned nLength, unsigned char* pOut) {
    for (int i = 0; i < 4; ++i)
        pOut[i] = static_cast<unsigned char>(nLength >> (24 - 8 * i));
}

unsigned readLength(const unsigned char* p) {
    return unsigned{p[0]} << 24 | unsigned{p[1]} << 16 | unsigned{p[2]} << 8 | p[3];
}

}  // namespace

int chSocketPacketTCP::SendOnePacket(const void* pData, int nBytes) {
    if (nBytes < 1) return 0;
    const auto nPayload = static_cast<std::size_t>(nBytes);
    unsigned char packet[kHeaderBytes + kSmallPayload];
    writeLength(static_cast<unsigned>(nBytes), packet);
    if (!isConnected()) return Send(packet, static_cast<int>(kHeaderBytes)) ? 1 : 0;
    // One call in either case: a header sent on its own would keep the payload back
    // until the peer acknowledges it.
    if (nPayload <= kSmallPayload) {
        std::memcpy(packet + kHeaderBytes, pData, nPayload);
        return Send(packet, static_cast<int>(kHeaderBytes + nPayload)) ? 1 : 0;
    }
    iovec pieces[] = {{packet, kHeaderBytes}, {const_cast<void*>(pData), nPayload}};
    return sendPieces(pieces, 2) ? 1 : 0;
}

bool chSocketPacketTCP::ReceiveOnePacket(std::vector<unsigned char>& packet, int nTimeout) {
    if (!receiveUntil(kHeaderBytes, nTimeout)) return false;
    const unsigned nLength = readLength(m_received.data());
    if (nLength > kMaxPacketBytes) {
        refuseLength(nLength);
        return false;
    }
    if (nLength > kCopiedPayload && nTimeout > 0 && m_received.size() == kHeaderBytes && isConnected()) {
        return receivePayload(packet, nLength, nTimeout);
    }
    if (!peek(packet, kHeaderBytes, static_cast<int>(nLength), nTimeout)) return false;
    m_received.drop(kHeaderBytes + nLength);
    return true;
}

void chSocketPacketTCP::refuseLength(unsigned nLength) {
    vdxOutputWarningString("Disconnect for received invalid packet bytes of %d,  it.",
                           static_cast<int>(nLength));
    Disconnect();
}

// A large payload of which nothing has arrived yet: received in its own memory, which
// is handed over as it is. What a time-out leaves goes to the buffer.
bool chSocketPacketTCP::receivePayload(std::vector<unsigned char>& packet, std::size_t nLength,
                                       int nTimeout) {
    vdx::net::WaitLimit limit(nTimeout);
    std::size_t nGot = 0;
    while (nGot < nLength && isConnected() && !limit.isOver()) {
        const std::size_t nAsk = std::min(nLength - nGot, kGrowth);
        if (m_scratch.size() < nGot + nAsk) m_scratch.resize(nGot + nAsk);
        const int nCount = receiveInto(m_scratch.data() + nGot, nAsk, limit);
        if (nCount < 1) break;
        nGot += static_cast<std::size_t>(nCount);
    }
    if (nGot == nLength) {
        m_scratch.resize(nLength);
        packet.swap(m_scratch);
        m_received.drop(kHeaderBytes);
        return true;
    }
    if (nGot > 0) {
        std::memcpy(m_received.room(nGot), m_scratch.data(), nGot);
        m_received.nEnd += nGot;
    }
    return false;
}
