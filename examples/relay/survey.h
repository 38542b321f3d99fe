// A look through real files: walking, filters, paths and words.
#pragma once

#include "options.h"
#include "report.h"

// Counts the files below a folder that a filter accepts, by extension, and the words
// of some of them; compares the count with a walk of its own.
void runSurvey(const Options& options, Report& report);
