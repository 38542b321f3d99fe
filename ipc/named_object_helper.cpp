// The process's one registry of named blocks.
#include <vdx/named_object.h>
#include <vdx/warnings.h>

#include "base/fork_hooks.h"
#include "base/singleton.h"
#include "ipc/segment.h"

namespace {

const char szSegmentName[] = "ipc_system_named";

uCSystemNamedObjectHelper* s_pForFork = nullptr;  // Set before the hooks that use it.

void lockForFork() {
    s_pForFork->Lock();
}
void unlockAfterFork() {
    s_pForFork->Unlock();
}

}  // namespace

uCSystemNamedObjectHelper* uCSystemNamedObjectHelper::getInstance() {
    return &vdx::Singleton<uCSystemNamedObjectHelper>::getInstance();
}

uCSystemNamedObjectHelper::uCSystemNamedObjectHelper()
    : m_pObject(vdx::openSegment<chSystemNamedObject>(m_mutex, m_mapFile, szSegmentName)) {
    if (m_pObject == nullptr) return;
    // Kept: what the check finds changes nothing.
    if (!m_pObject->GetHeader().AssertHeader(szSegmentName, chSystemNamedObject::SIZE,
                                             ipcObjectHeader::TYPE_NAMED)) {
        vdxOutputWarningString("%s: not a segment of named objects", szSegmentName);
    }
    s_pForFork = this;
    vdx::setForkHooks(vdx::ForkOrder::Registry, {lockForFork, unlockAfterFork, unlockAfterFork});
}

// Other threads may still wait for the lock: it stays alive for them, held by one more user, while this
// object gives its own use back and answers 0 from now on.
void uCSystemNamedObjectHelper::OnProcessExit() {
    if (m_pObject == nullptr) return;
    static vdx::NoDestructor<chSegmentMutex> s_lastUser;
    s_lastUser.get().OpenMutex(szSegmentName);
    m_mutex.Lock(-1);
    m_mapFile.CloseMapFile();
    m_pObject = nullptr;
    m_mutex.Unlock();
    m_mutex.CloseMutex();
}

int nameHelperLock() {
    return uCSystemNamedObjectHelper::getInstance()->Lock();
}

void nameHelperUnlock() {
    uCSystemNamedObjectHelper::getInstance()->Unlock();
}

void* nameGetSystemObject(const char* szName, int nSize, bool* pCreated) {
    chSystemNamedObject* pObject = uCSystemNamedObjectHelper::getInstance()->GetSystemObject();
    if (pObject == nullptr) return nullptr;
    return pObject->GetManager().get(szName == nullptr ? "" : szName, nSize, pCreated);
}
