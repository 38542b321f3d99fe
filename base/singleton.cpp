// The one way in which process-wide objects are created.
#include "base/singleton.h"

#include <string>

#include <vdx/locks.h>
#include <vdx/platform.h>
#include <vdx/warnings.h>

namespace vdx {

SingletonGate::Verdict SingletonGate::enter() {
    const chReentrantGuard guard(getStaticObjectCritical());
    if (find()) return Verdict::AlreadyMade;
    const std::uint64_t idSelf = vdxGetCurrentThreadId();
    if (m_idOwnerThread == 0) {
        m_idOwnerThread = idSelf;
        return Verdict::First;
    }
    return m_idOwnerThread == idSelf ? Verdict::SameThreadAgain : Verdict::OtherThread;
}

void* SingletonGate::waitForOther() const {
    while (!find())
        vdxSleep(50);
    return find();
}

void SingletonGate::abortReentry(bool bToStderr, const char* szName) {
    consoleWriteString(bToStderr, std::string("[E:] re-enter static instance of ") + szName);
    vdxAbort();
}

}  // namespace vdx
