// Rotating logs that are taken up again after any end of the program.
#pragma once

#include <string>

#include <vdx/vdx.h>

// Opens the log where the last run left it. A run that was killed while it moved the
// files down leaves one number out; what stands above it is moved down first, as the log
// itself looks for files only up to the first one that is missing.
void openLog(chFileTrace& log, const std::string& base, int nKiB, int nFiles);
