// The platform's system log: syslog.
#include "siblings/modulelog/system_log.h"

#include <syslog.h>

namespace vdx {

void writeSystemLog(const char* szText) {
    syslog(LOG_USER | LOG_INFO, "%s", szText);
}

}  // namespace vdx
