// Counts the changes of the host's network while the relay runs.
#include "watch.h"

#include <vdx/vdx.h>

NetworkWatch::NetworkWatch() : m_pReports(std::make_shared<std::atomic<int>>(0)) {
    // Called on the library's notification thread.
    m_pCallback = std::make_shared<std::function<void()>>([pReports = m_pReports] {
        ++*pReports;
        vdxModuleTrace(6, "M:Watch", "the network was reported on");
    });
    registerNetworkChangedCallback(m_pCallback);
}

NetworkWatch::~NetworkWatch() {
    unregisterNetworkChangedCallback(m_pCallback);
}
