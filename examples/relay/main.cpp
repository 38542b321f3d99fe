// The relay: a small product on top of the library, and a tour through it.
//
// It finds its root and folders, loads its configuration, looks through real files,
// writes rotating logs, serves length-prefixed packets over TCP to several clients that
// send tone frames and XML requests, collects their traces from the shared queue,
// watches the network meanwhile, and ends with a table of what happened. The exit
// status is 0 when every figure is right.
#include <vdx/vdx.h>

#include "collector.h"
#include "folders.h"
#include "logbook.h"
#include "options.h"
#include "report.h"
#include "rounds.h"
#include "settings.h"
#include "survey.h"
#include "watch.h"

int main(int argc, char** argv) {
    Options options;
    if (!readOptions(argc, argv, options)) return 2;
    if (options.bHelp) {
        consoleWriteString(false, usage());
        return 0;
    }
    Folders folders;
    Settings settings;
    Report report;
    report.show("started", chTime::getSystemTime().Format("%Y-%m-%d %H:%M:%S UTC"));
    if (!openFolders(options, folders) || !loadSettings(folders, settings, report)) return 1;
    vdxModuleTrace(6, "M:Relay", "libVDXLib %s, root %s", __szVersion_VER_VDX_LIB, folders.root.c_str());

    runSurvey(options, report);
    runLogbook(folders, report);
    Collector collector(folders);
    {
        const NetworkWatch watch;
        const std::int64_t nServed = runRounds(options, settings, report);
        report.show("reports on the network", watch.reports());
        collector.stop();
        report.expect("packets traced by the server", collector.linesOfServer(), nServed);
        report.show("  lines taken from the queue", collector.lines());
    }
    return report.print() ? 0 : 1;
}
