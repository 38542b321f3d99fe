// What is used of the dispatch queues.
#pragma once

using dispatch_queue_t = struct dispatch_queue_s*;
using dispatch_queue_attr_t = struct dispatch_queue_attr_s*;
using dispatch_function_t = void (*)(void*);

extern "C" {
dispatch_queue_t dispatch_queue_create(const char*, dispatch_queue_attr_t);
void dispatch_queue_set_specific(dispatch_queue_t, const void*, void*, dispatch_function_t);
void* dispatch_get_specific(const void*);
void dispatch_async_f(dispatch_queue_t, void*, dispatch_function_t);
void dispatch_sync_f(dispatch_queue_t, void*, dispatch_function_t);
}
