// What is used of Core Foundation.
#pragma once

using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFIndex = long;
using Boolean = unsigned char;

extern "C" const CFAllocatorRef kCFAllocatorDefault;
extern "C" void CFRelease(CFTypeRef);
