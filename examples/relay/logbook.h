// The relay's book: numbered lines in rotating logs, from run to run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <vdx/vdx.h>

#include "folders.h"
#include "report.h"

class Logbook {
public:
    // Reads what earlier runs, killed ones too, have left and goes on with the next number.
    explicit Logbook(const Folders& folders);

    // Adds so many lines; each is in its file when this returns.
    void write(int nLines);

    // Reads what stands on the disk: the files are as many and as large as agreed, and
    // hold the newest lines without a gap.
    void check(Report& report) const;

private:
    struct Content {
        int nFiles = 0;
        bool bWithinLimits = true;
        bool bWithoutGap = true;
        std::int64_t nFirst = 0;
        std::int64_t nNext = 0;  // One more than the number of the last line.
    };
    Content readFiles() const;

    chFileTrace m_book;
    Content m_found;
    std::int64_t m_nNext = 0;
    int m_nRotations = 0;
};
