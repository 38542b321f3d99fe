// Where the relay keeps its files.
#pragma once

#include <string>

#include "options.h"

struct Folders {
    std::string root;
    std::string log;   // Rotating logs.
    std::string data;  // What must not be lost.
};

// Finds and creates them; false, after a warning, where one cannot be made.
bool openFolders(const Options& options, Folders& out);
