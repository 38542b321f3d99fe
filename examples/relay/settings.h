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

// Reads data/relay.xml below the root, on the first run made with default values, and
// counts the start in it. Saved so that no crash leaves half of it. Records in the report
// what it did, and that the file reads back alike.
bool loadSettings(const Folders& folders, Settings& out, Report& report);
