// Whole messages over a stream: a length, then the payload.
#pragma once

#include <cstddef>
#include <vector>

#include <vdx/export.h>
#include <vdx/socket.h>

// Example:
//   std::vector<unsigned char> packet;
//   while (client.ReceiveOnePacket(packet, kLimit)) {  // A chSocketPacketTCP that is connected.
//       if (client.SendOnePacket(packet.data(), static_cast<int>(packet.size())) == 0) break;
//       ++nPackets;
//   }
//
// On the wire a packet is its payload's length, 4 bytes big-endian, and the payload;
// nothing stands between packets.

// A connection that exchanges packets.
//
// Thread-safety: one object, one thread at a time. Errors: 0 or false. The time
// limit is in milliseconds; below 1 only buffered bytes count.
class VDX_API chSocketPacketTCP : public chSocketTCP {
public:
    // The largest payload that is received. The sender does not check it.
    static constexpr unsigned kMaxPacketBytes = 0x400000;

    // Sends one packet of at least 1 byte, waiting without limit while the peer takes
    // none. Not 0 on success; 0, and nothing sent, for less than 1 byte.
    int SendOnePacket(const void* pData, int nBytes);

    // Waits for one whole packet, which may be empty, and takes it out of the buffer.
    // False, with nothing lost, when it has not come in time: the next call goes on
    // where this one stopped. The limit holds for the length and again for the
    // payload, so a call may take twice as long. A length above kMaxPacketBytes ends
    // the connection with a warning. Never receives beyond its packet.
    bool ReceiveOnePacket(std::vector<unsigned char>& packet, int nTimeout);

private:
    void refuseLength(unsigned nLength);
    bool receivePayload(std::vector<unsigned char>& packet, std::size_t nLength, int nTimeout);
};
