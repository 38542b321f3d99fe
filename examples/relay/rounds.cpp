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

std::int64_t runRounds(const Options& options, const Settings& settings, Logbook& book, Report& report) {
    const std::uint64_t nStart = vdxGetTickCount();
    const std::uint64_t nLimit = nStart + static_cast<std::uint64_t>(options.nSeconds) * 1000;
    Endurance endurance(options);
    std::int64_t nRounds = 0, nServed = 0;
    std::uint64_t nServing = 0;  // Milliseconds.
    do {
        const std::uint64_t nBegin = vdxGetTickCount();
        if (!runRound(options, settings, nServed)) break;
        nServing += vdxGetTickCount() - nBegin;
        book.write(options.nLines);
        endurance.sample();
        ++nRounds;
    } while (nRounds < 3 || vdxGetTickCount() < nLimit);

    const Totals totals = takeTotals();
    const std::int64_t nAsked = nRounds * options.nClients * (options.nPackets + GREETINGS);
    const auto nMilliseconds = static_cast<std::int64_t>(std::max<std::uint64_t>(nServing, 1));
    report.require("rounds: " + std::to_string(nRounds), nRounds >= 3);
    report.expect("packets served", nServed, nAsked);
    report.expect("  answered to clients", totals.nPackets, nAsked);
    report.expect("  wrong answers", totals.nWrong, 0);
    report.expect("  tone frames among them", totals.nTones,
                  nRounds * options.nClients * ((options.nPackets + 1) / 2));
    report.show("  packets a second", totals.nPackets * 1000 / nMilliseconds);
    report.show("  bytes a second", totals.nBytes * 1000 / nMilliseconds);
    endurance.report(report);
    return nServed;
}
