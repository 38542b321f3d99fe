// Peak memory of a parsed document, measured in a fresh process for each parser.
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>

#include "inputs.h"
#include "support/ratio.h"

namespace {

using namespace xmlbench;

long statusValue(const char* szField) {
    std::FILE* pFile = std::fopen("/proc/self/status", "r");
    if (!pFile) return 0;
    char line[200];
    char format[40];
    std::snprintf(format, sizeof format, "%s: %%ld kB", szField);
    long nValue = 0;
    while (std::fgets(line, sizeof line, pFile) && std::sscanf(line, format, &nValue) != 1) {
    }
    std::fclose(pFile);
    return nValue * 1024;
}

void resetPeak() {
    malloc_trim(0);
    if (std::FILE* pFile = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", pFile);
        std::fclose(pFile);
    }
}

// The growth of the resident peak while a child process parses a text that it has already.
double peakBytes(ParseAndKeep parse, const std::string& szText) {
    int pipes[2];
    if (pipe(pipes) != 0) return 0;
    const pid_t idChild = fork();
    if (idChild == 0) {
        resetPeak();
        const long nBefore = statusValue("VmRSS");
        parse(szText);
        const long nGrowth = statusValue("VmHWM") - nBefore;
        _exit(write(pipes[1], &nGrowth, sizeof nGrowth) == sizeof nGrowth ? 0 : 1);
    }
    close(pipes[1]);
    long nGrowth = 0;
    const bool bRead = read(pipes[0], &nGrowth, sizeof nGrowth) == sizeof nGrowth;
    close(pipes[0]);
    waitpid(idChild, nullptr, 0);
    return bRead ? static_cast<double>(nGrowth) : 0;
}

// Before the benchmarks run: the heap is as good as empty.
[[maybe_unused]] const bool s_bMeasured = [] {
    static constexpr const char* TITLES[INPUTS] = {"attribute-heavy", "text-heavy", "public file"};
    for (int i = 0; i < INPUTS; ++i) {
        const std::string& szText = input(i);
        const double nSize = static_cast<double>(szText.size());
        vdx::bench::addMeasured(std::string("XML peak memory per input byte, ") + TITLES[i],
                                peakBytes(keepWithVdx, szText) / nSize, "pugixml",
                                peakBytes(keepWithPugixml, szText) / nSize, 1 / 1.4, "B");
    }
    return true;
}();

}  // namespace
