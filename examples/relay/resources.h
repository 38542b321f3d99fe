// What the process holds, and whether that is constant, however long the relay runs.
#pragma once

#include <cstdint>

#include "options.h"
#include "report.h"

struct Resources {
    int nDescriptors = 0;
    int nThreads = 0;
    std::int64_t nMemory = 0;       // Resident, in KiB.
    std::int64_t nAllocations = 0;  // Made through the library's counted heap and not freed.
};

// Zeros, but for the allocations, where there is no /proc.
Resources countResources();

// Looks at what is held between rounds: after the first one, when the process is warm
// (after a minute, or a tenth of a shorter run), and after the last.
class Endurance {
public:
    explicit Endurance(const Options& options);

    void sample();

    // Nothing may have grown since the process was warm; memory by a little.
    void report(Report& out) const;

private:
    Resources settled() const;

    std::int64_t m_nGrowth;  // What memory may grow by, in KiB.
    std::uint64_t m_nWarmAt;
    bool m_bFirst = true;
    bool m_bWarm = false;
    Resources m_first, m_warm, m_last;
};
