// A client of the relay.
#include "client.h"

#include <cmath>
#include <string>
#include <vector>

#include <vdx/vdx.h>

#include "server.h"
#include "totals.h"

namespace {

constexpr int FRAME_SAMPLES = 160;  // 20 ms at 8 kHz.
constexpr int WAIT_MS = 20'000;

// One connection, with what it sent and got back.
class Conversation {
public:
    bool open(int nPort) {
        chInAddr loopback;
        sockParseAddress("127.0.0.1", loopback);
        return m_socket.CreateSocket(AF_INET) && m_socket.ConnectTo(chSocketAddr(loopback, nPort), WAIT_MS);
    }

    // Sends a packet and counts it as wrong unless the answer is the one expected.
    void ask(const void* pData, int nBytes, const std::string& expected) {
        m_totals.nWrong += 1;
        if (!m_socket.SendOnePacket(pData, nBytes)) return;
        if (!m_socket.ReceiveOnePacket(m_answer, WAIT_MS)) return;
        m_totals.nPackets += 1;
        m_totals.nBytes += nBytes + static_cast<std::int64_t>(m_answer.size());
        if (std::string(m_answer.begin(), m_answer.end()) == expected) m_totals.nWrong -= 1;
    }
    void ask(const std::string& text, const std::string& expected) {
        ask(text.data(), static_cast<int>(text.size()), expected);
    }

    Totals& totals() { return m_totals; }

private:
    chSocketPacketTCP m_socket;
    std::vector<unsigned char> m_answer;
    Totals m_totals;
};

// The next 20 ms of a tone, as mu-law.
void sendTone(Conversation& talk, double dHertz, int nFrame) {
    uLawSample frame;
    frame.AllocSampleBuffer(FRAME_SAMPLES);
    for (int i = 0; i < FRAME_SAMPLES; ++i) {
        const double dTime = (nFrame * FRAME_SAMPLES + i) / 8000.0;
        frame.AppendSample(0.5 * std::sin(dTime * dHertz * 2 * 3.14159265358979));
    }
    std::vector<unsigned char> packet(1, 'T');
    const auto* pSamples = static_cast<const unsigned char*>(frame.GetBuffer());
    packet.insert(packet.end(), pSamples, pSamples + frame.GetBufferSize());
    talk.ask(packet.data(), static_cast<int>(packet.size()), toneAnswer(packet));
    talk.totals().nTones += 1;
}

void sendSum(Conversation& talk, int nFirst) {
    chXmlElement request("sum");
    for (int i = 0; i < 3; ++i)
        request.AddChildElement("value").AddChildObject(xmlText, std::to_string(nFirst + i));
    talk.ask(request.ExportToText(true), "<sum value=\"" + std::to_string(3 * nFirst + 3) + "\"/>");
}

std::string loginText(const std::string& password) {
    chXmlElement login("login");
    login.SetAttributeValue("password", pswEncrypt(password));
    return login.ExportToText(true);
}

}  // namespace

void runClient(const Settings& settings, int nPort, int nPackets, int nClient) {
    chEvent ready;
    ready.OpenEvent(READY_EVENT);
    Conversation talk;
    if (!ready.WaitEvent(WAIT_MS) || !talk.open(nPort)) {
        talk.totals().nWrong += 1;
    } else {
        talk.ask("<sum/>", "<refused/>");  // Not logged in yet.
        talk.ask(loginText("wrong"), "<refused/>");
        talk.ask(loginText(settings.password), "<welcome/>");
        for (int i = 0; i < nPackets; ++i) {
            if (i % 2 == 0) {
                sendTone(talk, settings.dTone, i);
            } else {
                sendSum(talk, nClient * nPackets + i);
            }
        }
    }
    addTotals(talk.totals());
}
