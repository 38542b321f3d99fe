// The text of queued trace lines that had to make room.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

#include <vdx/segment_backing.h>

namespace vdx {

// What the trace block holds of the text: it lies in segments of its own, found by
// name, so that every user of the block can read it and it takes no room there.
struct OverflowHandle {
    std::uint64_t nBytes = 0;         // Of the text.
    std::uint64_t nFirstSegment = 0;  // Number of the segment with the first byte.
    std::uint64_t nUnused = 0;
};
static_assert(sizeof(OverflowHandle) == 24);

// The text itself, in the segments "ipc_system_trace.<number>": a header of 8 bytes
// (size, type 4106), then text. All but the last are full. Numbers are not used again.
//
// Thread-safety: none; the trace mutex is held.
class OverflowText {
public:
    static constexpr int SEGMENT_SIZE = 0x100000;
    static constexpr int SEGMENT_TYPE = 4106;

    // Appends all of it, or nothing and false when there is no memory.
    bool append(OverflowHandle& handle, std::string_view line, std::string_view end);

    // Appends the text to `out`, empties it and frees its segments.
    void take(OverflowHandle& handle, std::string& out);

private:
    static constexpr std::uint64_t HEADER = 8;
    static constexpr std::uint64_t CAPACITY = SEGMENT_SIZE - HEADER;
    struct Segment {
        std::uint64_t nNumber;
        chSegmentMapFile file;
        char* pText;
    };

    char* open(std::uint64_t nNumber);
    bool reach(const OverflowHandle& handle, std::uint64_t nBytes);
    void copyIn(OverflowHandle& handle, std::string_view text);

    std::list<Segment> m_segments;  // Those that this process has open, by number.
};

}  // namespace vdx
