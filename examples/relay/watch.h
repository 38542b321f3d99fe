// Counts the changes of the host's network while the relay runs.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

class NetworkWatch {
public:
    NetworkWatch();   // Registers.
    ~NetworkWatch();  // Unregisters: after it nothing arrives.
    NetworkWatch(const NetworkWatch&) = delete;
    NetworkWatch& operator=(const NetworkWatch&) = delete;

    // Reports so far; the first one tells the state found, not a change.
    int reports() const { return *m_pReports; }

private:
    std::shared_ptr<std::atomic<int>> m_pReports;
    std::shared_ptr<std::function<void()>> m_pCallback;
};
