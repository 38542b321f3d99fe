// The relay's rotating logs.
#pragma once

#include "folders.h"
#include "report.h"

// Writes more lines than the files may hold, then reads what stands on the disk: the
// files are as many and as large as agreed, and hold the newest lines without a gap.
void runLogbook(const Folders& folders, Report& report);
