// The relay's service: rounds of a server with its clients.
#pragma once

#include <cstdint>

#include "logbook.h"
#include "options.h"
#include "report.h"
#include "settings.h"

// Runs three rounds, or rounds for as long as the options say, and reports what was sent,
// answered and held. Each round adds to the book. How many packets the server answered.
std::int64_t runRounds(const Options& options, const Settings& settings, Logbook& book, Report& report);
