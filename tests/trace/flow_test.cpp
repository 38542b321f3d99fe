// Traced calls through all layers: from what reports to what comes out.
#include <sys/socket.h>
#include <thread>

#include <gtest/gtest.h>
#include <vdx/socket.h>
#include <vdx/trace.h>

#include "net/peer.h"
#include "support/child.h"
#include "trace/lines.h"

namespace {

// Sends more than the connection holds to a peer that reads late.
bool sendToALateReader() {
    const peer::Fd listener = peer::listening(AF_INET);
    chSocketTCP socket;
    if (!socket.CreateSocket(AF_INET) || !socket.ConnectTo(peer::nameOf(listener), 10'000)) return false;
    const std::string text(32 << 20, 's');
    std::thread reader([&] {
        const peer::Fd late(accept(listener, nullptr, nullptr));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(peer::readAll(late, text.size()), text);
    });
    const bool bSent = socket.Send(text.data(), static_cast<int>(text.size()));
    reader.join();
    return bSent;
}

}  // namespace

// The socket's failed send is formatted, passes the level, gets its prefix, and is written by
// the method of the environment; then the socket waits and sends the rest.
TEST(Flow, ATracedCallOfASocket) {
    const std::regex line(
        R"((\[D:Who\?)" + STAMP +
        R"(chSocketTCP::Send failed! nSendCount=0 errno:\[11\]\[Resource temporarily unavailable\]\n)+)");
    const TempDir dir;
    for (const std::string& option :
         std::vector<std::string>{"7:console", "7:share", "7:log:" + (dir / "t"), "6:console"}) {
        const auto result = vdxtest::runInChild([&] {
            setenv("trace", option.c_str(), 1);
            const bool bSent = sendToALateReader();
            for (const std::string& text : readQueue())
                std::printf("%s\n", text.c_str());
            return bSent && !testing::Test::HasFailure() ? 0 : 1;
        });
        EXPECT_EQ(result.exitCode(), 0) << option << result.err;
        const std::string text = result.out + TempDir::read(dir / "t-0.log");
        std::filesystem::remove(dir / "t-0.log");
        EXPECT_EQ(std::regex_match(text, line), option[0] == '7') << option << text;
    }
}

// A process traces into the shared queue until old lines are moved aside; a reader gets all in order.
TEST(Flow, ASharedTrace) {
    const auto result = vdxtest::runInChild([] {
        setenv("trace", "5:share", 1);
        const std::string filler(100'000, '#');
        for (int i = 0; i < 30; ++i)
            vdxTrace(5, "%d%s", i, filler.c_str());
        vdxTrace(6, "not this");
        for (std::string text : readQueue()) {
            for (std::size_t n; (n = text.find(filler)) != std::string::npos;)
                text.replace(n, filler.size(), "#");
            std::printf("%s\n", text.c_str());
        }
        return 0;
    });
    std::string expected = R"(\[M:TraceHelper)" + STAMP + R"(Write (\d+) bytes first\.\n)";
    for (int i = 0; i < 30; ++i)
        expected += R"(\[D:Who\?)" + STAMP + std::to_string(i) + "#\n+";  // Moved ones end in a newline, too.
    std::smatch found;
    ASSERT_TRUE(std::regex_match(result.out, found, std::regex(expected))) << result.out;
    EXPECT_NEAR(std::stoi(found[1]) / 100'000, 10, 1);  // A longer line may push out two.
}
