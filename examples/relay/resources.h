// What the process holds: constant, however long the relay runs.
#pragma once

#include <cstdint>

struct Resources {
    int nDescriptors = 0;
    int nThreads = 0;
    std::int64_t nAllocations = 0;  // Made through the library's counted heap and not freed.
};

Resources countResources();
