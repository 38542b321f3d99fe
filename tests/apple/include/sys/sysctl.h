// The system's query interface of macOS.
#pragma once

#include <cstddef>

#define CTL_NET 4
#define NET_RT_IFLIST 3

extern "C" int sysctl(int*, unsigned, void*, std::size_t*, void*, std::size_t);
