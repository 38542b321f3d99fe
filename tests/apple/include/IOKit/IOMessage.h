// Power messages of IOKit.
#pragma once

#define kIOMessageCanSystemSleep 0xe0000270u
#define kIOMessageSystemWillSleep 0xe0000280u
#define kIOMessageSystemHasPoweredOn 0xe0000300u
