// The text of queued trace lines that had to make room.
#include "trace/overflow_text.h"

#include <algorithm>
#include <cstring>

#include <vdx/named_object.h>

namespace vdx {

char* OverflowText::open(std::uint64_t nNumber) {
    for (auto segment = m_segments.rbegin(); segment != m_segments.rend(); ++segment) {
        if (segment->nNumber == nNumber) return segment->pText;
    }
    std::list<Segment> opened(1);
    Segment& segment = opened.back();
    void* pBlock = segment.file.OpenMapFile("ipc_system_trace." + std::to_string(nNumber), SEGMENT_SIZE);
    if (!pBlock) {
        segment.file.CloseMapFile();
        return nullptr;
    }
    if (segment.file.IsCreateByMe()) {
        static_cast<ipcObjectHeader*>(pBlock)->InitHeader(SEGMENT_SIZE, SEGMENT_TYPE);
    }
    segment.nNumber = nNumber;
    segment.pText = static_cast<char*>(pBlock) + HEADER;
    m_segments.splice(m_segments.end(), opened);
    return segment.pText;
}

// Opens all segments that the next bytes come to lie in.
bool OverflowText::reach(const OverflowHandle& handle, std::uint64_t nBytes) {
    const std::uint64_t nLast = (handle.nBytes + nBytes - 1) / CAPACITY;
    for (std::uint64_t i = handle.nBytes / CAPACITY; i <= nLast; ++i) {
        if (!open(handle.nFirstSegment + i)) return false;
    }
    return true;
}

void OverflowText::copyIn(OverflowHandle& handle, std::string_view text) {
    while (!text.empty()) {
        const std::uint64_t nOffset = handle.nBytes % CAPACITY;
        const std::size_t nPart = std::min<std::uint64_t>(text.size(), CAPACITY - nOffset);
        std::memcpy(open(handle.nFirstSegment + handle.nBytes / CAPACITY) + nOffset, text.data(), nPart);
        handle.nBytes += nPart;
        text.remove_prefix(nPart);
    }
}

bool OverflowText::append(OverflowHandle& handle, std::string_view line, std::string_view end) {
    if (line.size() + end.size() == 0) return true;
    if (!reach(handle, line.size() + end.size())) return false;
    copyIn(handle, line);
    copyIn(handle, end);
    return true;
}

void OverflowText::take(OverflowHandle& handle, std::string& out) {
    out.reserve(out.size() + handle.nBytes);
    std::uint64_t nNumber = handle.nFirstSegment;
    for (std::uint64_t nLeft = handle.nBytes; nLeft > 0; ++nNumber) {
        const std::uint64_t nPart = std::min(nLeft, CAPACITY);
        const char* pText = open(nNumber);
        if (pText) out.append(pText, nPart);
        nLeft -= nPart;
    }
    // A segment that was opened for a line which then did not come goes as well.
    for (Segment& segment : m_segments) {
        nNumber = std::max(nNumber, segment.nNumber + 1);
        segment.file.DestroyMapFile();
    }
    m_segments.clear();
    handle = {0, nNumber, 0};
}

}  // namespace vdx
