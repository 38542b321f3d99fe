// What the process holds, and whether that is constant, however long the relay runs.
#include "resources.h"

#include <unistd.h>
#include <algorithm>
#include <fstream>

#include <vdx/vdx.h>

namespace {

constexpr int WARM_SECONDS = 60;

int countEntries(const std::string& folder) {
    int nEntries = 0;
    chPathWalker walker(folder);
    for (std::string name; walker.ReadFileName(name);)
        ++nEntries;
    return nEntries;
}

std::int64_t residentMemory() {
    std::int64_t nTotal = 0, nResident = 0;
    std::ifstream("/proc/self/statm") >> nTotal >> nResident;
    return nResident * sysconf(_SC_PAGESIZE) / 1024;
}

}  // namespace

Resources countResources() {
    const auto counts = dymicAllocHelper::getInstance()->getCounts();
    return {std::max(countEntries("/proc/self/fd") - 1, 0), countEntries("/proc/self/task"), residentMemory(),
            static_cast<std::int32_t>(counts.nAlloc - counts.nFree)};  // Both wrap.
}

Endurance::Endurance(const Options& options) : m_nGrowth(options.nGrowth) {
    const int nWarm = std::min(WARM_SECONDS, options.nSeconds / 10);
    m_nWarmAt = vdxGetTickCount() + static_cast<std::uint64_t>(nWarm) * 1000;
}

// A thread that was joined may be listed for a moment more.
Resources Endurance::settled() const {
    Resources now = countResources();
    for (int i = 0; i < 100 && !m_bFirst && now.nThreads > m_first.nThreads; ++i) {
        vdxSleep(10);
        now = countResources();
    }
    return now;
}

void Endurance::sample() {
    if (m_bFirst) {
        vdxSleep(50);
        m_first = settled();
        m_bFirst = false;
    } else {
        m_last = settled();
        if (!m_bWarm) m_warm = m_last;
        m_bWarm = m_bWarm || vdxGetTickCount() >= m_nWarmAt;
    }
}

void Endurance::report(Report& out) const {
    const auto row = [&](const char* szName, std::int64_t nFirst, std::int64_t nWarm, std::int64_t nLast) {
        const std::string value =
            std::to_string(nFirst) + ", " + std::to_string(nWarm) + ", " + std::to_string(nLast);
        out.show(szName, value);
    };
    out.show("held after the first round, warm, at the end", "");
    row("  descriptors", m_first.nDescriptors, m_warm.nDescriptors, m_last.nDescriptors);
    row("  threads", m_first.nThreads, m_warm.nThreads, m_last.nThreads);
    row("  counted allocations", m_first.nAllocations, m_warm.nAllocations, m_last.nAllocations);
    row("  memory, KiB", m_first.nMemory, m_warm.nMemory, m_last.nMemory);
    out.require("  of none more than when warm", m_last.nDescriptors <= m_warm.nDescriptors &&
                                                     m_last.nThreads <= m_warm.nThreads &&
                                                     m_last.nAllocations <= m_warm.nAllocations);
    out.require("  memory within " + std::to_string(m_nGrowth) + " KiB of that",
                m_last.nMemory - m_warm.nMemory <= m_nGrowth);
}
