// Takes the process's trace lines out of the shared queue and keeps them in rotating logs.
#include "collector.h"

#include "log_files.h"

Collector::Collector(const Folders& folders) {
    openLog(m_log, pathAppend(folders.log, "trace"), 256, 4);
    uCTraceHelper::getInstance()->RedirectToShareMemory();
    m_thread = std::thread([this] {
        while (!m_bStop) {
            drain();
            vdxSleep(20);
        }
    });
}

void Collector::stop() {
    if (!m_thread.joinable()) return;
    m_bStop = true;
    m_thread.join();
    uCTraceHelper::getInstance()->RedirectToConsole();
    drain();
}

void Collector::drain() {
    for (std::string text; uCTraceHelper::getInstance()->ReadShareMemoryString(text);)
        keep(text);
}

// A text is one line; or, after a moment in which the queue was full, many of them, each
// with its newline, behind a line that says so.
void Collector::keep(const std::string& text) {
    for (const std::string& line : vdxTextBreak(text, "\n")) {
        m_log.WriteLogLine(line);  // At once: a process that is killed loses only what is in the queue.
        ++m_nLines;
        if (line.rfind("[M:Server+", 0) == 0) ++m_nServerLines;
    }
}

std::int64_t Collector::linesLeft() const {
    std::int64_t nLeft = 0;
    for (std::string text; uCTraceHelper::getInstance()->ReadShareMemoryString(text);)
        ++nLeft;
    return nLeft;
}
