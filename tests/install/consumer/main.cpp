// Uses a little of the library from outside.
#include <vdx/vdx.h>
#include <cstdio>

int main() {
    chCriticalSection lock;
    lock.Lock();
    const bool bHeld = lock.IsLockedByThisThread();
    lock.Unlock();
    const std::string name = pathGetLastPart(vdxGetExeFileName());
    std::printf("libVDXLib %s: %s\n", __szVersion_VER_VDX_LIB, name.c_str());
    return bHeld && !name.empty() ? 0 : 1;
}
