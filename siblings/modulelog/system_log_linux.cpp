// The platform's system log: syslog.
#include "siblings/modulelog/system_log.h"

#include <syslog.h>
#include <mutex>

#include "base/fork_hooks.h"

namespace vdx {

void writeSystemLog(const char* szText) {
    // The C library's own lock would stay held in a child that is forked meanwhile.
    const std::lock_guard guard(ForkMutex<ForkOrder::SystemLog>::get());
    syslog(LOG_USER | LOG_INFO, "%s", szText);
}

}  // namespace vdx
