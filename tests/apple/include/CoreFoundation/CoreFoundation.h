// The declarations of CoreFoundation that our Apple sources use, for a syntax check.
#pragma once

typedef const struct __CFString* CFStringRef;
extern "C" CFStringRef vdxTestConstantString(const char* szText);
#define CFSTR(text) vdxTestConstantString(text)
