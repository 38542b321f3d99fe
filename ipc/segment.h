// How a named segment is opened, or made by its first user.
#pragma once

#include <new>
#include <string>

#include <vdx/segment_backing.h>

namespace vdx {

// The segment of that name, laid out: the mutex of the same name keeps others out until the first user has
// constructed Layout in it. Null when it cannot be had; then both objects are closed.
template <class Layout>
Layout* openSegment(chSegmentMutex& mutex, chSegmentMapFile& mapFile, const std::string& name) {
    if (!mutex.OpenMutex(name)) return nullptr;
    mutex.Lock(-1);
    void* pBlock = nullptr;
    try {
        pBlock = mapFile.OpenMapFile(name, static_cast<int>(sizeof(Layout)));
        if (pBlock != nullptr && mapFile.IsCreateByMe()) {
            ::new (pBlock) Layout;
            mapFile.Flush();
        }
    } catch (const std::bad_alloc&) {
        pBlock = nullptr;
    }
    if (pBlock == nullptr) mapFile.CloseMapFile();
    mutex.Unlock();
    if (pBlock == nullptr) mutex.CloseMutex();
    return static_cast<Layout*>(pBlock);
}

}  // namespace vdx
