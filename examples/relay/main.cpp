// The relay: a small product on top of the library, and a tour through it.
//
// It finds its root and folders, loads its configuration, looks through real files,
// serves length-prefixed packets over TCP to several clients that send tone frames and
// XML requests, writes rotating logs, collects all traces from the shared queue, watches
// the network meanwhile, and ends with a table of what happened. The exit status is 0
// when every figure is right: after ten minutes (--seconds 600), too, it holds no more
// than after one. Killed at any moment, it takes its files up again.
#include <vdx/vdx.h>

#include "collector.h"
#include "folders.h"
#include "logbook.h"
#include "options.h"
#include "report.h"
#include "resources.h"
#include "rounds.h"
#include "settings.h"
#include "survey.h"
#include "watch.h"

namespace {

// Everything that runs at the same time, and what came of it.
void runService(const Options& options, const Folders& folders, const Settings& settings, Report& report) {
    Logbook book(folders);
    Collector collector(folders);
    const NetworkWatch watch;
    const std::int64_t nServed = runRounds(options, settings, book, report);
    collector.stop();
    book.check(report);
    report.expect("packets traced by the server", collector.linesOfServer(), nServed);
    report.show("  lines taken from the queue", collector.lines());
    report.expect("  lines left in it", collector.linesLeft(), 0);
    report.show("reports on the network", watch.reports());
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!readOptions(argc, argv, options)) return 2;
    if (options.bHelp) {
        consoleWriteString(false, usage());
        return 0;
    }
    // The shared segments, of traces and of named objects, stay to the end of the process.
    uCTraceHelper::getInstance()->GetOutputMethod();
    uCSystemNamedObjectHelper::getInstance()->GetSystemObject();
    const Resources before = countResources();
    Folders folders;
    Settings settings;
    Report report;
    report.show("started", chTime::getSystemTime().Format("%Y-%m-%d %H:%M:%S UTC"));
    if (!openFolders(options, folders) || !loadSettings(folders, settings, report)) return 1;
    vdxModuleTrace(6, "M:Relay", "libVDXLib %s, root %s", __szVersion_VER_VDX_LIB, folders.root.c_str());

    runSurvey(options, report);
    runService(options, folders, settings, report);
    report.expect("allocations leaked", countResources().nAllocations - before.nAllocations, 0);
    return report.print() ? 0 : 1;
}
