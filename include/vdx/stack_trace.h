// The call stack as text, and tracers of scopes.
#pragma once

#include <string>

#include <vdx/export.h>
#include <vdx/warnings.h>

// Example:
//   void accept(int nPort) {
//       chTraceStack scope(9, __PRETTY_FUNCTION__, " port=%d", nPort);
//       greet();
//   }
//   // { Relay::accept port=80
//   //   { Relay::greet()
//   //   } Relay::greet()
//   // } Relay::accept

// The stack of the calling thread, a line a frame, from the caller outwards; names are
// demangled where the program exports them. Ends before frame nDepth, where frame 0 is
// vdxReadStack itself: -1 gives all, at most 255; below 2 gives nothing. A line is cut
// after 1023 bytes, the whole text after 64 KiB.
//
// Thread-safety: both functions; neither takes a lock of the library but that of its
// allocation counters.
VDX_API std::string vdxReadStack(int nDepth);

// Writes the same lines to standard error.
VDX_API void vdxDumpStack(int nDepth);

// Traces "{ name" at the start of a scope and "} name" at its end, indented by two
// blanks for each such scope that the thread is in. The name is taken from a function's
// signature, such as __PRETTY_FUNCTION__: from the last blank before the first "(" up to
// the ")" that follows; a non-empty format replaces the parameters by its text. Without
// "(" the name is empty; longer than 255 bytes it is cut.
//
// A scope whose level does not pass at its start is not traced at its end either.
class VDX_API chTraceStack {
public:
    // Begins the scope.
    chTraceStack(int nLevel, const char* szFunction, const char* szFormat, ...) VDX_PRINTF_FORMAT(4, 5);
    ~chTraceStack();
    chTraceStack(const chTraceStack&) = delete;
    chTraceStack& operator=(const chTraceStack&) = delete;

private:
    bool m_bEnabled;
    char m_szName[256];
};

// The same on standard output, without level and prefix.
//
// Kept: the indentation is 32 characters of the code 2 x depth (modulo 256), so a scope
// at depth 0 prints an empty line; and the depth is one number of all threads, counted
// without a lock. Use chTraceStack.
class VDX_API simpStackTracer {
public:
    // Begins the scope.
    simpStackTracer(const char* szFunction, const char* szFormat, ...) VDX_PRINTF_FORMAT(3, 4);
    ~simpStackTracer();
    simpStackTracer(const simpStackTracer&) = delete;
    simpStackTracer& operator=(const simpStackTracer&) = delete;

    // The depth of all threads together; may be written to.
    static int& getDepth();

private:
    char m_szName[256];
};
