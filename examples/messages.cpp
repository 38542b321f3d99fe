// The ways of a message: the console, trace lines by level, scopes, the queue, rotating files, log records.
#include <cstdio>
#include <list>
#include <string>

#include <vdx/file_trace.h>
#include <vdx/log.h>
#include <vdx/path.h>
#include <vdx/platform.h>
#include <vdx/stack_trace.h>
#include <vdx/trace.h>
#include <vdx/trace_helper.h>
#include <vdx/warnings.h>

namespace {

class Relay {
public:
    void accept(int nPort) {
        chTraceStack scope(9, __PRETTY_FUNCTION__, " port=%d", nPort);
        greet();
    }

private:
    void greet() { chTraceStack scope(9, __PRETTY_FUNCTION__, nullptr); }
};

void writeLines(const char* szName, int nClients, int nBytes, int nDropped) {
    vdxModuleTrace(6, "M:Relay", "%d clients", nClients);
    vdxTrace(7, "read %d bytes", nBytes);
    vdxOutputWarningString("%s: %d entries dropped", szName, nDropped);
}

// Lines wait in the queue until somebody takes them.
int throughQueue() {
    int nShipped = 0;
    const auto ship = [&](const std::string& text) {
        std::printf("shipped: %s\n", text.c_str());
        ++nShipped;
    };
    uCTraceHelper* pHelper = uCTraceHelper::getInstance();
    pHelper->ResetTraceLevel(6);
    pHelper->RedirectToShareMemory();
    vdxTrace(6, "queued");
    vdxTrace(7, "suppressed");
    std::string line;
    while (pHelper->ReadShareMemoryString(line))
        ship(line);
    return nShipped;
}

bool throughFile(const std::string& base) {
    chFileTrace log;
    log.OpenFileTrace(base, 64, 3);
    log.WriteLogLine("started");
    const bool bWritten = pathFileSize(log.GetFileName(0)) == 8;
    return pathRemoveFile(log.GetFileName(0)) && bWritten;
}

int throughRecords() {
    int nShown = 0;
    const auto show = [&](const TraceNode& record) {
        std::printf("record %d: %c %s\n", record.code, record.level, record.text.c_str());
        ++nShown;
    };
    qvTrace('E', "Relay", "client lost", 3);
    std::list<TraceNode*> records;
    while (qvGetLog(records, 500000) > 0) {
        for (const TraceNode* pRecord : records)
            show(*pRecord);
    }
    return nShown;
}

}  // namespace

int main() {
    writeLines("table", 3, 512, 2);
    Relay().accept(80);
    const std::string base = vdxGetTempDirectory() + "/messages-" + std::to_string(vdxGetCurrentProcessId());
    return throughQueue() == 1 && throughFile(base) && throughRecords() == 1 ? 0 : 1;
}
