// Makes allocations and system calls of the calling thread fail.
#pragma once

namespace xmltest {

// After that many more allocations operator new throws and no memory is mapped; -1: never.
inline thread_local long t_nAllocationsLeft = -1;

// After nLeft more calls one call on files fails with that error, or kills the process as
// it begins; -1: none does. A write that fails or kills has written half; a close that
// fails has closed.
struct FileCalls {
    long nLeft = -1;
    int nError = 0;
    const char* szFailed = "";  // The name of the call that has failed.
};
inline thread_local FileCalls t_fileCalls;
constexpr int KILLS = -1;

}  // namespace xmltest
