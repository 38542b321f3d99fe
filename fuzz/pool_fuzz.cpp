// Pool operations, each checked against the bytes and the contents of every live cell.
#include <vdx/directories.h>

#include "fuzz/fuzz.h"
#include "tests/memory/pool_shadow.h"

// Byte 0 gives the pool's size; then operations of three bytes: what, which or how much, how much.
void fuzz(const Bytes& input) {
    if (input.empty()) return;
    vdxSetAppDocPath("/dev/null");  // No dumps.
    pooltest::Shadow shadow(24 + input[0] * 33);
    for (std::size_t i = 1; i + 2 < input.size(); i += 3) {
        const int nBytes = input[i] & 0x80 ? input[i + 2] * 16 + input[i + 1] % 16 : input[i + 2];
        shadow.step(input[i], input[i + 1], nBytes);
        if (i % 8 == 0) shadow.check();
    }
    shadow.check();
}
