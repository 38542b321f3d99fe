// Takes the process's trace lines out of the shared queue and keeps them in rotating logs.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include <vdx/vdx.h>

#include "folders.h"

// While it lives, traces of all threads go to the queue and one thread drains it.
class Collector {
public:
    explicit Collector(const Folders& folders);
    ~Collector() { stop(); }
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    // Sends traces to the console again and takes what is left in the queue.
    void stop();

    // After stop: lines taken, those of them from one module, and those left.
    std::int64_t lines() const { return m_nLines; }
    std::int64_t linesOfServer() const { return m_nServerLines; }
    std::int64_t linesLeft() const;

private:
    void drain();
    void keep(const std::string& text);

    chFileTrace m_log;
    std::thread m_thread;
    std::atomic<bool> m_bStop{false};
    std::int64_t m_nLines = 0;
    std::int64_t m_nServerLines = 0;
};
