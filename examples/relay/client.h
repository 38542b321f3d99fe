// A client of the relay.
#pragma once

#include "settings.h"

// Waits for the server's event, logs in, sends so many packets, tone frames and XML
// requests by turns, checks each answer and adds what it did to the totals.
void runClient(const Settings& settings, int nPort, int nPackets, int nClient);
