// Tracing by the environment. Try:
//   trace=5:console ./trace_environment
//   trace=9:log:/var/tmp/app:64:3 ./trace_environment; cat /var/tmp/app-0.log
#include <cstdio>
#include <cstdlib>

#include <vdx/stack_trace.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>

namespace {

int answer(int nPort) {
    const chTraceStack scope(9, __PRETTY_FUNCTION__, " port=%d", nPort);
    vdxModuleTrace(6, "D:Demo", "serving port %d", nPort);
    if (nPort < 1024) vdxModuleTrace(3, "E:Demo", "port %d needs a privilege", nPort);
    return nPort;
}

}  // namespace

int main() {
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    std::printf("level %d, method %u\n", pHelper->GetOutputLevel(), pHelper->GetOutputMethod());
    answer(8080);
    answer(80);

    // The same by calls, at any time.
    pHelper->ResetTraceLevel(3);
    vdxTrace(7, "not written, and not formatted");
    pHelper->RedirectToNull();
    vdxTrace(3, "goes nowhere");
    return 0;
}
