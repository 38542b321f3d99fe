// Serves packets to clients over TCP on the loopback address.
#include "server.h"

#include <cstdlib>
#include <memory>

namespace {

constexpr int POLL_MS = 20;  // How soon a stop is noticed.
constexpr int REST_MS = 5;

std::string sumAnswer(const chXmlElement& request) {
    std::uint64_t nSum = 0;  // Wraps, whatever a client sends.
    for (chXmlElement value = request.getChildElement(); value.hasData(); ++value) {
        nSum += static_cast<std::uint64_t>(std::atoll(value.getChild().tagName().c_str()));
    }
    chXmlElement reply("sum");
    reply.SetAttributeValue("value", std::to_string(static_cast<std::int64_t>(nSum)));
    return reply.ExportToText(true);
}

}  // namespace

std::string toneAnswer(const std::vector<unsigned char>& frame) {
    unsigned nSum = 0;
    for (const unsigned char byte : frame)
        nSum += byte;
    chXmlElement reply("tone");
    reply.SetAttributeValue("bytes", std::to_string(frame.size()));
    reply.SetAttributeValue("sum", std::to_string(nSum));
    return reply.ExportToText(true);
}

bool Server::start(const Settings& settings, int nClients) {
    m_password = settings.password;
    chInAddr loopback;
    sockParseAddress("127.0.0.1", loopback);
    for (m_nPort = settings.nPort; m_nPort < settings.nPort + 100; ++m_nPort) {
        if (m_listener.CreateSocket(chSocketAddr(loopback, m_nPort)) && m_listener.SocketListen(64)) break;
    }
    if (!m_listener.isValidSocket()) return false;
    m_acceptor = std::thread(&Server::acceptClients, this);
    // A new event starts with one signal; only ours shall count. It lives with its users, so it is a member.
    m_ready.OpenEvent(READY_EVENT);
    m_ready.ResetEvent();
    for (int i = 0; i < nClients; ++i)
        m_ready.SetEvent();
    return true;
}

void Server::stop() {
    m_bStop = true;
    if (m_acceptor.joinable()) m_acceptor.join();
    for (std::thread& worker : m_workers)
        worker.join();
    m_workers.clear();
    m_listener.DestroySocket();
}

void Server::acceptClients() {
    while (!m_bStop) {
        auto peer = std::make_shared<chSocketPacketTCP>();
        if (!m_listener.AcceptOnSocket(*peer, nullptr, POLL_MS)) {
            vdxSleep(REST_MS);  // Not only the time may be over: without descriptors it fails at once.
            continue;
        }
        m_workers.emplace_back([this, peer] { serve(*peer); });
    }
}

void Server::serve(chSocketPacketTCP& peer) {
    std::vector<unsigned char> packet;
    bool bLoggedIn = false;
    while (!m_bStop && peer.isConnected()) {
        if (!peer.ReceiveOnePacket(packet, POLL_MS)) continue;
        const std::string reply = answer(packet, bLoggedIn);
        if (!peer.SendOnePacket(reply.data(), static_cast<int>(reply.size()))) break;
        ++m_nPackets;
        vdxModuleTrace(7, "M:Server", "%d bytes from a client, %d back", static_cast<int>(packet.size()),
                       static_cast<int>(reply.size()));
    }
}

std::string Server::answer(const std::vector<unsigned char>& packet, bool& bLoggedIn) {
    if (!packet.empty() && packet[0] == 'T') return bLoggedIn ? toneAnswer(packet) : "<refused/>";
    const std::string text(packet.begin(), packet.end());
    const chXmlElement request = chXmlDocument::ParseDocument(text).getChildElement();
    if (request.tagName() == "login") {
        bLoggedIn = pswDecrypt(request.GetAttributeValue("password", "")) == m_password;
        return bLoggedIn ? "<welcome/>" : "<refused/>";
    }
    return bLoggedIn && request.tagName() == "sum" ? sumAnswer(request) : "<refused/>";
}
