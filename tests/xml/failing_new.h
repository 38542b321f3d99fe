// Makes allocations of the calling thread fail.
#pragma once

namespace xmltest {

// After that many more allocations operator new throws; -1: never.
void setAllocationsLeft(long nCount);

}  // namespace xmltest
