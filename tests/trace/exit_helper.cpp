// Traces from static objects that die before and after the tracing.
#include <cstring>
#include <string>
#include <thread>

#include <vdx/platform.h>
#include <vdx/stack_trace.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>

namespace {

void exercise(const char* szName) {
    // First: nothing else has selected the output yet.
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    pHelper->TraceConstString(std::string(szName) + " unchanged");
    {
        const chTraceStack scope(9, "scope()", nullptr);
        vdxWarningMessage(szName, 0, "warning");
    }
    pHelper->RedirectToNull();
    pHelper->ResetTraceLevel(0);
    pHelper->RedirectToFileTrace("/nonexistent/x", 1, 1);
    vdxTrace(9, "%s", szName);  // At the end the redirections have no effect.
    std::string text;
    while (pHelper->ReadShareMemoryString(text)) {
    }
}

struct Late {
    explicit Late(const char* szText) : szName(szText) {}
    ~Late() { exercise(szName); }
    const char* szName;
};

Late s_before("made before");  // Destroyed after everything that was made later.

}  // namespace

int main(int argc, char** argv) {
    vdxTrace(3, "main");
    static Late s_after("made after");
    if (argc > 1 && std::strcmp(argv[1], "threads") == 0) {
        for (int i = 0; i < 4; ++i) {
            std::thread([] {
                for (;;)
                    vdxTrace(9, "busy");
            }).detach();
        }
        vdxSleep(20);
    }
    return 0;
}
