// Serves packets to clients over TCP on the loopback address.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <vdx/vdx.h>

#include "settings.h"

// The name of the event that is set once for each client when the server listens.
constexpr const char* READY_EVENT = "relay.ready";

// A packet is answered by what it is: "<login .../>" must come first and names the
// password, encrypted; "<sum>...</sum>" is answered by the sum of its values; a tone
// frame, which begins with a 'T', by its length and checksum, as XML.
class Server {
public:
    // Listens on the first free port from the configured one, and serves each
    // connection on a thread of its own.
    bool start(const Settings& settings, int nClients);
    void stop();

    int port() const { return m_nPort; }
    std::int64_t packets() const { return m_nPackets; }

private:
    void acceptClients();
    void serve(chSocketPacketTCP& peer);
    std::string answer(const std::vector<unsigned char>& packet, bool& bLoggedIn);

    chEvent m_ready;
    chSocketTCPServer m_listener;
    std::thread m_acceptor;
    std::vector<std::thread> m_workers;
    std::atomic<bool> m_bStop{false};
    std::atomic<std::int64_t> m_nPackets{0};
    std::string m_password;
    int m_nPort = 0;
};

// What a tone frame is answered with.
std::string toneAnswer(const std::vector<unsigned char>& frame);
