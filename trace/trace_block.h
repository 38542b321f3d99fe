// The shared trace block: default options, process records and the queue of lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <vdx/named_object.h>
#include <vdx/pool.h>
#include <vdx/trace_helper.h>

#include "trace/overflow_text.h"

// Laid over the segment "ipc_system_trace" by the process that makes it; works at any
// address. Process records and lines are cells of the pool; the lists are circular,
// with their head in the block.
//
// Thread-safety: none; the trace mutex is held. Option pairs are read without it.
class chSystemTracerManager {
public:
    static constexpr int SIZE = 0x200000;
    static constexpr int POOL_SIZE = 0x1FFF88;

    chSystemTracerManager();

    const ipcObjectHeader& header() const { return m_header; }
    chTraceOption& defaultOption() { return m_default; }

    // The record of a process, made at its place by id when missing, with both values
    // unset. Records of processes that are gone are removed. Null without room.
    chTraceOption* resetProcess(std::int32_t idProcess, vdx::OverflowText& overflow);

    // Queues a line as the last. Null room: false, and the line is dropped.
    bool queueLine(std::string_view line, vdx::OverflowText& overflow);

    std::uint64_t overflowBytes() const { return m_nOverflowBytes; }

    // Appends the moved lines to `out` and forgets them.
    void takeOverflow(std::string& out, vdx::OverflowText& overflow);

    // The oldest line; false when the queue is empty.
    bool takeLine(std::string& out);

private:
    struct Line;
    struct Process;
    bool makeRoom(int nBytes, vdx::OverflowText& overflow);
    bool moveOldestAside(vdx::OverflowText& overflow);
    Line* oldestLine();
    void removeLine(Line* pLine);
    void removeGoneProcesses();

    ipcObjectHeader m_header;
    basePoolAlloc m_pool;
    chTraceOption m_default{0x7FFFFFFF, chTraceOption::METHOD_CONSOLE};
    std::uint32_t m_nProcesses = 0;
    [[maybe_unused]] std::uint32_t m_nUnused = 0;  // Keeps the links after it at multiples of 8.
    list_chain_offset m_processes;
    std::uint64_t m_nLines = 0;
    list_chain_offset m_lines;
    std::uint64_t m_nOverflowBytes = 0;  // Of the moved lines, without their newlines.
    vdx::OverflowHandle m_overflow;
    unsigned char m_area[POOL_SIZE];
};
static_assert(sizeof(chSystemTracerManager) == chSystemTracerManager::SIZE);
