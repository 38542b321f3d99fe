// What the process holds: constant, however long the relay runs.
#include "resources.h"

#include <vdx/vdx.h>

namespace {

int countEntries(const std::string& folder) {
    int nEntries = 0;
    chPathWalker walker(folder);
    for (std::string name; walker.ReadFileName(name);)
        ++nEntries;
    return nEntries;
}

}  // namespace

Resources countResources() {
    const auto counts = dymicAllocHelper::getInstance()->getCounts();
    return {countEntries("/proc/self/fd") - 1, countEntries("/proc/self/task"),
            static_cast<std::int32_t>(counts.nAlloc - counts.nFree)};  // Both wrap.
}
