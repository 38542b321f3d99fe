// What the library's own named segments stand on.
#pragma once

#include <vdx/map_file.h>
#include <vdx/sync.h>

// The classes behind the segments "ipc_system_named" and "ipc_system_trace": shared by all users within
// the process. The one place to change for segments shared between processes; the layouts are fit for it.
using chSegmentMapFile = chMapFile_Local;
using chSegmentMutex = chMutex;
