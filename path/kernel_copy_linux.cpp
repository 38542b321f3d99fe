// Copying between files without passing the bytes through the process.
#include "path/kernel_copy.h"

#include <unistd.h>
#include <cstddef>

namespace vdx {

void copyInKernel(int nFrom, int nTo) {
    constexpr std::size_t MOST_AT_ONCE = std::size_t{1} << 30U;
    while (::copy_file_range(nFrom, nullptr, nTo, nullptr, MOST_AT_ONCE, 0) > 0)
        continue;
}

}  // namespace vdx
