// What the relay is told on its command line.
#pragma once

#include <string>

struct Options {
    std::string root;                     // --root PATH: where it keeps its files; else the application root.
    std::string survey = "/usr/include";  // --survey PATH: the folder whose files it looks through.
    std::string filter = "*.h;*.hpp;-_*";  // --filter PATTERNS: which of them.
    int nSeconds = 0;                      // --seconds N: goes on for this long; at least three rounds.
    int nClients = 4;                      // --clients N
    int nPackets = 500;                    // --packets N: what each client sends in a round.
    int nLines = 1000;                     // --lines N: added to the book in a round.
    int nGrowth = 2048;                    // --growth KIB: what memory may grow by once it is warm.
    bool bHelp = false;                    // --help
};

// False, after a line on standard error, when an option is unknown or incomplete.
bool readOptions(int argc, char** argv, Options& out);

// The text of --help.
const char* usage();
