// The platform's system log: NSLog.
#include "siblings/modulelog/system_log.h"

#include <CoreFoundation/CoreFoundation.h>

extern "C" void NSLog(CFStringRef format, ...);

namespace vdx {

void writeSystemLog(const char* szText) {
    NSLog(CFSTR("%s"), szText);
}

}  // namespace vdx
