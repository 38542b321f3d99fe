// The keys in what a terminal sends.
#pragma once

namespace vdx {

// Where the bytes come from.
class keyBytes {
public:
    virtual ~keyBytes() = default;

    // The next byte, within nTimeout_ms milliseconds (-1: no limit); otherwise chKeyNone, or
    // chKeyRefresh when the wait was interrupted by what changed the screen.
    virtual int next(int nTimeout_ms) = 0;

    // Gives the last byte back, to be next again.
    virtual void putBack(int nByte) = 0;
};

// The next key, as chStdInput::ReadKey.
int readKey(keyBytes& bytes, int nTimeout_ms);

}  // namespace vdx
