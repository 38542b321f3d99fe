// What the relay is told on its command line.
#include "options.h"

#include <cstdlib>
#include <cstring>

#include <vdx/vdx.h>

namespace {

// Decimal numbers up to a million only.
bool readNumber(const char* szText, int& nOut) {
    char* szEnd = nullptr;
    const long nValue = std::strtol(szText, &szEnd, 10);
    if (szEnd == szText || *szEnd != 0 || nValue < 0 || nValue > 1'000'000) return false;
    nOut = static_cast<int>(nValue);
    return true;
}

bool setOption(const std::string& name, const char* szValue, Options& out) {
    if (name == "--root") return !(out.root = szValue).empty();
    if (name == "--survey") return !(out.survey = szValue).empty();
    if (name == "--filter") return !(out.filter = szValue).empty();
    if (name == "--seconds") return readNumber(szValue, out.nSeconds);
    if (name == "--clients") return readNumber(szValue, out.nClients) && out.nClients > 0;
    if (name == "--packets") return readNumber(szValue, out.nPackets) && out.nPackets > 0;
    if (name == "--lines") return readNumber(szValue, out.nLines) && out.nLines > 0;
    if (name == "--growth") return readNumber(szValue, out.nGrowth);
    return false;
}

}  // namespace

bool readOptions(int argc, char** argv, Options& out) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0) {
            out.bHelp = true;
        } else if (i + 1 < argc && setOption(argv[i], argv[i + 1], out)) {
            ++i;
        } else {
            consolePrintf(true, "[E:] relay: %s is not understood here; try --help", argv[i]);
            return false;
        }
    }
    return true;
}

const char* usage() {
    return "usage: relay [--root PATH] [--survey PATH] [--filter PATTERNS] [--seconds N] [--clients N] "
           "[--packets N] [--lines N] [--growth KIB]\n"
           "  Files are kept below the root: the option, else APP_ROOT, else the user's data folder.";
}
