// Traces from inside an allocation, to every output.
#include <cstdlib>
#include <new>
#include <string>

#include <unistd.h>

#include <vdx/platform.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>

namespace {
bool s_bActive = false;
}

void* operator new(std::size_t nSize) {
    if (s_bActive) vdxTrace(3, "allocated %zu bytes, a text that needs an allocation of its own", nSize);
    void* p = std::malloc(nSize ? nSize : 1);
    if (!p) throw std::bad_alloc();
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

int main(int, char** argv) {
    alarm(30);
    const std::string name = argv[1];
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    s_bActive = true;  // Before the first trace: the process's record is made under it.
    pHelper->RedirectToFileTrace(name, 1, 2);
    for (int i = 0; i < 30; ++i)
        vdxTrace(3, "file %d %s", i, std::string(100, 'x').c_str());
    pHelper->RedirectToShareMemory();
    for (int i = 0; i < 30; ++i)
        vdxTrace(3, "queue %d %s", i, std::string(100'000, 'x').c_str());
    pHelper->push_trace_level();
    std::string text;
    while (pHelper->ReadShareMemoryString(text)) {
    }
    s_bActive = false;
    return 0;
}
