// The relay: a small product on top of the library, and a tour through it.
//
// It finds its root and folders, looks through real files, writes rotating logs, and
// ends with a table of what happened. The exit status is 0 when every figure is right.
#include <vdx/vdx.h>

#include "folders.h"
#include "logbook.h"
#include "options.h"
#include "report.h"
#include "survey.h"

int main(int argc, char** argv) {
    Options options;
    if (!readOptions(argc, argv, options)) return 2;
    if (options.bHelp) {
        consoleWriteString(false, usage());
        return 0;
    }
    Folders folders;
    if (!openFolders(options, folders)) return 1;

    vdxModuleTrace(6, "M:Relay", "libVDXLib %s, root %s", __szVersion_VER_VDX_LIB, folders.root.c_str());
    Report report;
    report.show("started", chTime::getSystemTime().Format("%Y-%m-%d %H:%M:%S UTC"));
    runSurvey(options, report);
    runLogbook(folders, report);
    return report.print() ? 0 : 1;
}
