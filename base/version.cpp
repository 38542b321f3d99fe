// The version text of the library.
#include <vdx/platform.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the interface.
const char* const __szVersion_VER_VDX_LIB = "2.0.5.35";
