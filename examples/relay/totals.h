// What all clients did together: a named block, guarded by a named mutex.
#pragma once

#include <cstdint>

struct Totals {
    std::int64_t nPackets = 0;  // Sent by clients, and answered.
    std::int64_t nBytes = 0;    // Payload of both directions.
    std::int64_t nTones = 0;    // Tone frames among the packets.
    std::int64_t nWrong = 0;    // Answers that were missing or not as they should be.
};

// Adds to the block "relay.totals", which the first caller makes.
bool addTotals(const Totals& more);

// Reads the block and frees it.
Totals takeTotals();
