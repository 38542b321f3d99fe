// What is used of Core Foundation.
#pragma once

using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFIndex = long;
using Boolean = unsigned char;

extern "C" const CFAllocatorRef kCFAllocatorDefault;
extern "C" void CFRelease(CFTypeRef);

using CFStringRef = const struct __CFString*;
using CFURLRef = const struct __CFURL*;
using CFBundleRef = struct __CFBundle*;
constexpr unsigned kCFStringEncodingUTF8 = 0x08000100;

extern "C" CFStringRef __CFStringMakeConstantString(const char*);
#define CFSTR(text) __CFStringMakeConstantString("" text "")
extern "C" CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char*, unsigned);
extern "C" Boolean CFStringGetCString(CFStringRef, char*, CFIndex, unsigned);
extern "C" Boolean CFURLGetFileSystemRepresentation(CFURLRef, Boolean, unsigned char*, CFIndex);
extern "C" CFURLRef CFURLCopyAbsoluteURL(CFURLRef);
extern "C" CFBundleRef CFBundleGetMainBundle();
extern "C" CFURLRef CFBundleCopyBundleURL(CFBundleRef);
extern "C" CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef);
extern "C" CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef, CFStringRef);
