// The shared trace block.
#include "trace/trace_block.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <vdx/platform.h>

#include "trace/trace_state.h"

// A queued line: its place in the queue, its length, then the bytes.
struct chSystemTracerManager::Line {
    list_chain_offset node;
    std::uint32_t nLength;
    std::uint32_t nUnused;

    char* text() { return reinterpret_cast<char*>(this + 1); }
    std::string_view view() { return {text(), nLength}; }
    static Line* ofNode(list_chain_offset* pNode) { return reinterpret_cast<Line*>(pNode); }
};

// A process record.
struct chSystemTracerManager::Process {
    list_chain_offset node;
    std::int32_t idProcess;
    chTraceOption option;
    std::uint32_t nUnused;

    static Process* ofNode(list_chain_offset* pNode) { return reinterpret_cast<Process*>(pNode); }
};

chSystemTracerManager::chSystemTracerManager() {
    static_assert(sizeof(Line) == 24 && alignof(Line) == 4 && offsetof(Line, nLength) == 16);
    static_assert(sizeof(Process) == 32 && alignof(Process) == 4 && offsetof(Process, idProcess) == 16 &&
                  offsetof(Process, option) == 20);
    static_assert(
        offsetof(chSystemTracerManager, m_pool) == 8 && offsetof(chSystemTracerManager, m_default) == 32 &&
        offsetof(chSystemTracerManager, m_nProcesses) == 40 &&
        offsetof(chSystemTracerManager, m_processes) == 48 &&
        offsetof(chSystemTracerManager, m_nLines) == 64 && offsetof(chSystemTracerManager, m_lines) == 72 &&
        offsetof(chSystemTracerManager, m_nOverflowBytes) == 88 &&
        offsetof(chSystemTracerManager, m_overflow) == 96 && offsetof(chSystemTracerManager, m_area) == 120);
    m_header.InitHeader(SIZE, ipcObjectHeader::TYPE_TRACE);
    m_pool.init_pool(m_area, POOL_SIZE);
    vdx::applyTraceOption(std::getenv("systrace"), m_default, nullptr);
}

void chSystemTracerManager::removeGoneProcesses() {
    list_chain_offset* pNode = m_processes.get_next();
    while (pNode != &m_processes) {
        Process* pProcess = Process::ofNode(pNode);
        pNode = pNode->get_next();
        if (vdxIsValidProcessID(pProcess->idProcess)) continue;
        pProcess->node.unlink();
        --m_nProcesses;
        m_pool.free(pProcess);
    }
}

chTraceOption* chSystemTracerManager::resetProcess(std::int32_t idProcess, vdx::OverflowText& overflow) {
    constexpr chTraceOption UNSET{chTraceOption::UNSET_LEVEL, chTraceOption::UNSET_METHOD};
    removeGoneProcesses();
    list_chain_offset* pNode = m_processes.get_next();
    while (pNode != &m_processes && Process::ofNode(pNode)->idProcess < idProcess)
        pNode = pNode->get_next();
    if (pNode != &m_processes && Process::ofNode(pNode)->idProcess == idProcess) {
        Process::ofNode(pNode)->option = UNSET;
        return &Process::ofNode(pNode)->option;
    }
    if (!makeRoom(sizeof(Process), overflow)) return nullptr;
    auto* pProcess = ::new (m_pool.alloc(sizeof(Process))) Process{{}, idProcess, UNSET, 0};
    pProcess->node.link_before(pNode);
    ++m_nProcesses;
    return &pProcess->option;
}

chSystemTracerManager::Line* chSystemTracerManager::oldestLine() {
    return m_lines.empty() ? nullptr : Line::ofNode(m_lines.get_next());
}

void chSystemTracerManager::removeLine(Line* pLine) {
    pLine->node.unlink();
    --m_nLines;
    m_pool.free(pLine);
}

bool chSystemTracerManager::moveOldestAside(vdx::OverflowText& overflow) {
    Line* pLine = oldestLine();
    if (!pLine || !overflow.append(m_overflow, pLine->view(), "\n")) return false;
    m_nOverflowBytes += pLine->nLength;
    removeLine(pLine);
    return true;
}

// Looks before it allocates: an allocation that fails dumps the pool.
bool chSystemTracerManager::makeRoom(int nBytes, vdx::OverflowText& overflow) {
    while (!m_pool.find_big_enough_cell(nBytes)) {
        if (!moveOldestAside(overflow)) return false;
    }
    return true;
}

bool chSystemTracerManager::queueLine(std::string_view line, vdx::OverflowText& overflow) {
    constexpr std::size_t MAX = std::numeric_limits<int>::max() - sizeof(Line) - 8;
    if (line.size() > MAX) line = line.substr(0, MAX);  // As little of it fits.
    const int nBytes = static_cast<int>(line.size() + sizeof(Line));
    if (!makeRoom(nBytes, overflow)) return false;
    auto* pLine = ::new (m_pool.alloc(nBytes)) Line{{}, static_cast<std::uint32_t>(line.size()), 0};
    std::memcpy(pLine->text(), line.data(), line.size());
    pLine->node.link_before(&m_lines);
    ++m_nLines;
    return true;
}

void chSystemTracerManager::takeOverflow(std::string& out, vdx::OverflowText& overflow) {
    overflow.take(m_overflow, out);
    m_nOverflowBytes = 0;
}

bool chSystemTracerManager::takeLine(std::string& out) {
    Line* pLine = oldestLine();
    if (!pLine) return false;
    out = pLine->view();
    removeLine(pLine);
    return true;
}
