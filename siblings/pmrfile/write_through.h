// Texts that leave the process at once, without a stop in a stream's buffer.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string_view>

namespace vdx {

// Writes the parts one behind the other, after what waits in the stream's buffer, under the stream's lock.
// A short text (what a pipe takes undivided) goes to the system in one call and is never in the buffer,
// where a forked child would find it; a longer one takes several. A descriptor that must not block is waited
// for. False when something may be lost.
bool writeThrough(std::FILE* pFile, std::initializer_list<std::string_view> parts);

}  // namespace vdx
