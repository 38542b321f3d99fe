// The relay's service: rounds of a server with its clients.
#include "rounds.h"

#include <algorithm>
#include <thread>
#include <vector>

#include <vdx/vdx.h>

#include "client.h"
#include "resources.h"
#include "server.h"
#include "totals.h"

namespace {

constexpr int GREETINGS = 3;  // What each client asks before its packets.

// False when the server could not start.
bool runRound(const Options& options, const Settings& settings, std::int64_t& nServed) {
    Server server;
    if (!server.start(settings, options.nClients)) return false;
    std::vector<std::thread> clients;
    for (int i = 0; i < options.nClients; ++i) {
        clients.emplace_back([&, i] { runClient(settings, server.port(), options.nPackets, i); });
    }
    for (std::thread& client : clients)
        client.join();
    server.stop();
    nServed += server.packets();
    return true;
}

}  // namespace

std::int64_t runRounds(const Options& options, const Settings& settings, Report& report) {
    const std::uint64_t nStart = vdxGetTickCount();
    const std::uint64_t nLimit = nStart + static_cast<std::uint64_t>(options.nSeconds) * 1000;
    std::int64_t nRounds = 0, nServed = 0;
    bool bStarted = true;
    Resources first, last;
    do {
        bStarted = runRound(options, settings, nServed);
        last = countResources();
        if (nRounds++ == 0) first = last;  // After the first round everything is made that stays.
    } while (bStarted && vdxGetTickCount() < nLimit);
    const std::uint64_t nMilliseconds = std::max<std::uint64_t>(vdxGetTickCount() - nStart, 1);

    const Totals totals = takeTotals();
    const std::int64_t nAsked = nRounds * options.nClients * (options.nPackets + GREETINGS);
    report.expect("packets served", nServed, nAsked);
    report.expect("  answered to clients", totals.nPackets, nAsked);
    report.expect("  wrong answers", totals.nWrong, 0);
    report.show("  tone frames among them", totals.nTones);
    report.show("  packets a second", totals.nPackets * 1000 / static_cast<std::int64_t>(nMilliseconds));
    report.show("  bytes a second", totals.nBytes * 1000 / static_cast<std::int64_t>(nMilliseconds));
    report.show("rounds", nRounds);
    report.expect("  descriptors more than after the first", last.nDescriptors - first.nDescriptors, 0);
    report.expect("  threads more than after the first", last.nThreads - first.nThreads, 0);
    report.expect("  allocations more than after the first", last.nAllocations - first.nAllocations, 0);
    return nServed;
}
