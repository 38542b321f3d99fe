// The relay's configuration, kept as XML.
#pragma once

#include <string>

#include "folders.h"
#include "report.h"

struct Settings {
    int nPort = 0;         // The first port tried.
    double dTone = 440;    // Hertz.
    std::string password;  // In clear; stored encrypted.
};

// Reads data/relay.xml below the root; writes it with default values on the first run.
// Records in the report which of the two it was, and that the file reads back alike.
bool loadSettings(const Folders& folders, Settings& out, Report& report);
