// Copying between files without passing the bytes through the process.
#pragma once

namespace vdx {

// Moves bytes from one descriptor's position to the other's for as long as the system
// can; how many does not matter. The caller goes on by reading and writing, which
// finds the end, or the error that stopped this.
void copyInKernel(int nFrom, int nTo);

}  // namespace vdx
