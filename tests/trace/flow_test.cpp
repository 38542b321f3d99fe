// Traced calls through all layers: from what reports to what comes out.
#include <sys/socket.h>
#include <numeric>
#include <thread>

#include <gtest/gtest.h>
#include <vdx/socket.h>
#include <vdx/trace.h>

#include "net/peer.h"
#include "support/child.h"
#include "trace/lines.h"

namespace {

// Sends more than the connection holds to a peer that reads late.
void sendToALateReader() {
    const peer::Fd listener = peer::listening(AF_INET);
    chSocketTCP socket;
    ASSERT_TRUE(socket.CreateSocket(AF_INET) && socket.ConnectTo(peer::nameOf(listener), 10'000));
    const std::string text(32 << 20, 's');
    std::thread reader([&] {
        const peer::Fd late(accept(listener, nullptr, nullptr));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(peer::readAll(late, text.size()), text);
    });
    EXPECT_TRUE(socket.Send(text.data(), static_cast<int>(text.size())));
    reader.join();
}

}  // namespace

// The socket's failed send is formatted, passes the level, gets its prefix, and is written by
// the method of the environment; then the socket waits and sends the rest.
TEST(Flow, ATracedCallOfASocket) {
    const std::regex line(
        R"((\[D:Who\?)" + STAMP +
        R"(chSocketTCP::Send failed! nSendCount=0 errno:\[11\]\[Resource temporarily unavailable\]\n)+)");
    for (const std::string option : {"7:console:", "7:share:", "7:log:", "6:console:"}) {
        const TempDir dir;
        const auto result = vdxtest::runInChild([&] {
            setenv("trace", (option + dir.path() + "/t").c_str(), 1);
            sendToALateReader();
            for (const std::string& text : readQueue())
                std::printf("%s\n", text.c_str());
        });
        const std::string text = result.out + TempDir::read(dir / "t-0.log");
        EXPECT_EQ(std::regex_match(text, line), option[0] == '7') << option << text;
    }
}

// A process traces into the shared queue until old lines are moved aside; a reader gets all in order.
TEST(Flow, ASharedTrace) {
    setenv("trace", "5:share", 1);
    const std::string filler(100'000, '#');
    std::vector<int> sent(30);
    std::iota(sent.begin(), sent.end(), 0);
    for (const int n : sent)
        vdxTrace(5, "%d%s", n, filler.c_str());
    vdxTrace(6, "not this");
    std::string read;
    for (std::string text : readQueue()) {
        for (std::size_t n; (n = text.find(filler)) != std::string::npos;)
            text.erase(n, filler.size());
        read += text + '\n';
    }
    const std::string text = withoutStamps(read);
    EXPECT_TRUE(text.starts_with("[M:TraceHelper@Write ")) << text;
    EXPECT_NEAR(numbersBehind("Write ", text).at(0) / 100'000, 10, 1);  // A longer line may push out two.
    EXPECT_EQ(numbersBehind("\n[D:Who?@", text), sent) << text;
}
