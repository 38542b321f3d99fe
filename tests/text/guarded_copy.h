// A copy of some bytes that ends right before a page that must not be touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string_view>

// One memory block for many copies in turn: reading or writing one byte beyond a copy ends the test.
class guardedCopy {
public:
    explicit guardedCopy(std::size_t nMost) {
        const auto nPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        m_nUsable = (nMost + nPage - 1) / nPage * nPage;
        m_nMapped = m_nUsable + nPage;
        void* p = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_pBegin = static_cast<char*>(p);
        mprotect(m_pBegin + m_nUsable, nPage, PROT_NONE);
    }
    ~guardedCopy() { munmap(m_pBegin, m_nMapped); }
    guardedCopy(const guardedCopy&) = delete;
    guardedCopy& operator=(const guardedCopy&) = delete;

    // Replaces the copy.
    std::string_view set(std::string_view strBytes) {
        char* p = room(strBytes.size());
        if (!strBytes.empty()) std::memcpy(p, strBytes.data(), strBytes.size());
        return {p, strBytes.size()};
    }

    // The last n bytes before the guarded page.
    char* room(std::size_t n) { return m_pBegin + m_nUsable - n; }

private:
    char* m_pBegin;
    std::size_t m_nUsable;
    std::size_t m_nMapped;
};
