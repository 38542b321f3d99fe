// Loading shared libraries at run time.
#pragma once

#include <string>

#include <vdx/export.h>

// Example:
//   chDynamicModule module("libm.so.6");
//   if (auto* pCosine = reinterpret_cast<double (*)(double)>(module.GetMethod("cos")))
//       consolePrintf(false, "cos(0) = %g", pCosine(0));

// Owns one loaded module, or none; the module is released by closing, opening another
// and destruction.
//
// All symbols are resolved at once, and those of the module serve the modules loaded
// after it.
// Thread-safety: one thread at a time. Errors: false or null; the loader's text is not
// kept.
class VDX_API chDynamicModule {
public:
    chDynamicModule() = default;
    // Opens a module; whether that worked is seen from GetMethod only.
    explicit chDynamicModule(const std::string& path) { OpenDynamicModule(path); }
    ~chDynamicModule() { CloseDynamicModule(); }
    chDynamicModule(const chDynamicModule&) = delete;
    chDynamicModule& operator=(const chDynamicModule&) = delete;

    // Releases the module held so far, even if the new one then does not load. A path
    // without '/' is searched for by the loader's rules.
    bool OpenDynamicModule(const std::string& path);
    void CloseDynamicModule();  // Nothing happens when none is loaded.

    // The address of a symbol; null when it is absent or no module is loaded. Valid
    // until the module is released.
    void* GetMethod(const std::string& name) const;

private:
    void* m_hModule = nullptr;
};
