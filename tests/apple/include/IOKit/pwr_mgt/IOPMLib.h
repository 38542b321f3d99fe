// What is used of IOKit's power management.
#pragma once

#include <dispatch/dispatch.h>
#include <cstdint>

using io_object_t = unsigned;
using io_connect_t = io_object_t;
using io_service_t = io_object_t;
using IONotificationPortRef = struct IONotificationPort*;
using IOServiceInterestCallback = void (*)(void*, io_service_t, std::uint32_t, void*);

extern "C" {
io_connect_t IORegisterForSystemPower(void*, IONotificationPortRef*, IOServiceInterestCallback, io_object_t*);
int IOAllowPowerChange(io_connect_t, long);
void IONotificationPortSetDispatchQueue(IONotificationPortRef, dispatch_queue_t);
}
