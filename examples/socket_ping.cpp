// A client and a server on the loop-back interface; the server also waits for an event that stops it.
#include <cstring>
#include <string>
#include <thread>

#include <vdx/address.h>
#include <vdx/socket.h>
#include <vdx/sync.h>
#include <vdx/warnings.h>

namespace {

chEvent_Socket wake;  // Stops the server.

// Listens at a port that is free now, and gives it; 0 when that fails.
int listenSomewhere(chSocketTCPServer& server) {
    chSocketAddr local(chInAddr(in_addr{htonl(INADDR_LOOPBACK)}), 0);
    socklen_t nLength = sizeof local;
    if (!server.CreateSocket(AF_INET) || !server.Bind(local) || !server.SocketListen(1)) return 0;
    wake.OpenEvent();
    return getsockname(server.fd(), local.toSocketAddr(), &nLength) == 0 ? local.port() : 0;
}

// Answers "ping" until it is woken.
void serve(chSocketTCPServer& server) {
    chSocketTCP client;
    if (!server.AcceptOnSocket(client, nullptr, 5000)) return;
    for (;;) {
        chFD_SET set(wake.fd());
        set.add(client.fd());
        if (set.readSelect(-1) < 0 || set.isSet(wake.fd())) break;
        char question[4];
        if (client.Receive(question, 4, 1000) != 4 || !client.Send("pong", 4)) break;
    }
    wake.ResetEvent();
}

bool ask(int nPort) {
    chSocketTCP client;
    chInAddr host;
    if (!sockParseAddress("127.0.0.1", host) || !client.CreateSocket(AF_INET)) return false;
    if (!client.ConnectTo(chSocketAddr(host, nPort), 2000)) return false;
    client.Send("ping", 4);
    char answer[4] = {};
    if (client.Receive(answer, 4, 1000) != 4) vdxOutputWarningString("no answer");
    return std::memcmp(answer, "pong", 4) == 0;
}

bool showAddress() {
    chInAddr host;
    if (!sockParseAddress("[2001:db8::1]", host)) return false;
    chSocketAddr server(host, 8080);
    vdxOutputDebugString("%s", server.toString().c_str());
    return true;
}

}  // namespace

int main() {
    chSocketTCPServer server;
    const int nPort = listenSomewhere(server);
    std::thread serving([&] { serve(server); });
    const bool bAnswered = ask(nPort);
    wake.SetEvent();
    serving.join();
    return bAnswered && showAddress() ? 0 : 1;
}
