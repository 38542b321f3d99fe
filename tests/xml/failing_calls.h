// Makes allocations and system calls of the calling thread fail.
#pragma once

#include <string>

namespace xmltest {

// After that many more allocations operator new throws; -1: never.
void setAllocationsLeft(long nCount);

// After that many more calls one call on files fails with that error, or kills the
// process as it begins; -1: none does. A write that fails or kills has written half; a
// close that fails has closed.
constexpr int KILLS = -1;
void setFileCallsLeft(long nCount, int nError = 0);

// The name of the call that failed since then, or an empty text.
std::string failedFileCall();

// From now on no more memory is mapped, or again as usual.
void setMappingFails(bool bFails);

}  // namespace xmltest
