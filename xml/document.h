// What the last unreadable text of a thread stopped at.
#pragma once

namespace vdx {

// The first 39 bytes from where the calling thread's last failed document could
// not be read on. Empty if none failed yet.
const char* lastUnreadableText();

}  // namespace vdx
