// Rotating logs that are taken up again after any end of the program.
#pragma once

#include <string>

#include <vdx/vdx.h>

// Opens the log where the last run left it. Two things a run that was killed may leave, which
// the log takes as they are: a number left out among the files, when they were moved down, and
// half a line at the end of the newest, when the kernel had copied no more of it. What stands
// above the gap is moved down first, as the log looks for files only up to the first one that is
// missing; the half line is cut off, as the next one would stand behind it.
void openLog(chFileTrace& log, const std::string& base, int nKiB, int nFiles);
