// The memory of nodes: each allocation failing in turn, no more to map, cells that other threads free.
#include <sys/mman.h>
#include <unistd.h>
#include <barrier>
#include <climits>
#include <cstdlib>
#include <functional>
#include <new>
#include <thread>

#include "support/child.h"
#include "support/failing_calls.h"
#include "support/threads.h"
#include "xml/cell_slabs.h"
#include "xml/xml_support.h"

using namespace xmltest;
using vdxtest::t_failure;

// Memory is short only where a test names it: it does not count among the calls on files.
extern "C" {
VDX_REPLACED(void*, malloc, (std::size_t n)) {
    return t_failure.name == "malloc" && vdxtest::fails("malloc") ? nullptr : __real_malloc(n);
}
VDX_REPLACED(void*, mmap, (void* p, std::size_t n, int nProtection, int nFlags, int nFd, off_t nOffset)) {
    if (t_failure.name == "mmap" && vdxtest::fails("mmap")) return MAP_FAILED;
    return __real_mmap(p, n, nProtection, nFlags, nFd, nOffset);
}
}

namespace {

class chXmlMemoryFaults : public LeakFree {};
class chXmlThreads : public LeakFree {};

constexpr int THREADS = 6;

// Of everything something that is longer than what is held without the heap.
std::string longPieces() {
    const std::string szLong(50, 'l');
    std::string szText = "<root><!--" + szLong + "--><empty/><a";
    for (int i = 0; i < 40; ++i)
        szText += " attribute" + std::to_string(i) + "='" + szLong + " &amp; more'";
    return szText + ">" + szLong + "&lt;</a><b>" + repeated("b", 20000) + "</b><![CDATA[" + szLong +
           "]]></root>";
}

// How often some work, which says whether it was done, runs out of memory: each time with one
// allocation more than before, and on a new thread, which has no memory of its own yet. -1 if it
// is never done, or a failure leaves behind what it should not.
int failuresOf(const std::function<bool()>& work, const std::function<bool()>& isAsBefore) {
    for (int n = 0; n < 1000; ++n) {
        bool bDone = false;
        std::thread([&] {
            t_failure = {.nLeft = n, .nError = ENOMEM, .name = "malloc", .nTimes = INT_MAX};
            try {
                bDone = work();
            } catch (const std::bad_alloc&) {
            }
        }).join();
        if (bDone || !isAsBefore()) return bDone ? n : -1;
    }
    return -1;
}

// What fails leaves all as it was. A save touches no file; a load changes neither the document nor its path,
// or the file could not be read.
TEST_F(chXmlMemoryFaults, EachAllocationFailingInTurn) {
    const TempDir dir;
    const std::string szText = longPieces(), szName(300, 'n');
    const std::string szOther = dir.write("other", szText), szPath = dir.write("f", "<former/>\n");
    const chXmlElement whole = tree(szText);
    chXmlElement top = whole.clone();
    chXmlFile file(szPath);
    const std::pair<const char*, std::function<bool()>> CASES[] = {
        {"parse", [&] { return chXmlDocument::ParseDocument(szText).hasChildren(); }},
        {"door", [&] { return chXmlObject().parseContent(szText).empty(); }},
        {"clone", [&] { return top.clone().hasData(); }},
        {"export", [&] { return !top.ExportToText(false).empty(); }},
        {"entities", [&] { return xmlXMLPhrase2Text(xmlText2XMLPhrase(szText)) == szText; }},
        {"save", [&] { return file.SaveToFile(""); }},
        {"load", [&] { return file.LoadFromFile(szOther); }},
        {"add", [&] { return top.AddChildElement(szName).hasData(); }},
        {"new attribute", [&] { return top.SetAttributeValue(szName, szName); }},
        {"other value", [&] { return top["a"].SetAttributeValue("attribute7", szText); }},
        {"new option", [&] { return top.SetOption(szName, szName); }},
        {"other option", [&] { return top.SetOption("b", szText); }},
        {"first text", [&] { return top.SetOption("empty", szName); }},
    };
    const auto files = [&] { return TempDir::read(szPath) + TempDir::read(szOther); };
    const auto isAsBefore = [&] {
        const bool bUntouched = dump(whole) == dump(top) && files() == "<former/>\n" + szText;
        const bool bSaved = file.hasChildren() ? file.SaveToFile("") : file.LoadFromFile(szPath);
        return bUntouched && bSaved && files() == "<former/>\n" + szText && entries(dir.path()) == 2;
    };
    for (const auto& [szLabel, work] : CASES) {
        top = whole.clone();
        file.LoadFromFile(szPath);
        EXPECT_GT(failuresOf(work, isAsBefore), 0) << szLabel;
    }
}

TEST_F(chXmlMemoryFaults, NoMoreMemoryToMap) {
    if (vdx::CELLS_FROM_HEAP) GTEST_SKIP() << "cells come from the heap here";
    const std::string szText = "<r>" + repeated("<a b='c'/>t", 5000) + "</r>";
    // Of the ones below, the first one takes the source's cells.
    chXmlObject kept = chXmlDocument::ParseDocument(szText).clone();
    t_failure = {.nLeft = 0, .nError = ENOMEM, .name = "mmap", .nTimes = INT_MAX};
    EXPECT_THROW(for (;;) kept.AddChildObject(chXmlDocument::ParseDocument(szText)), std::bad_alloc);
    t_failure = {};
    EXPECT_TRUE((++kept.getChild()).hasData());
}

// All threads copy one handle, then drop what is left of the tree at the same time: one its last handle, the
// others handles on its nodes, two of them on the same one.
TEST_F(chXmlThreads, DroppingATreeInPieces) {
    for (int nRound = 0; nRound < 300; ++nRound) {
        chXmlObject root = chXmlDocument::ParseDocument("<r><a><b><c/></b></a><d><e/></d><x/></r>")["r"];
        const chXmlObject shared = root["x"];
        chXmlObject handles[THREADS] = {root["a"], root["a"]["b"], root["a"]["b"],
                                        root["d"], root["d"]["e"], std::move(root)};
        vdxtest::runTogether(THREADS, [&](int i) {
            for (int n = 0; n < 1000; ++n)
                const chXmlObject copy = shared;
            handles[i] = chXmlObject();
        });
        ASSERT_EQ("(4 'x')", dump(shared));
        ASSERT_EQ(1U, nodesAlive());
    }
}

// Each thread reads a document, releases that of another thread and leaves a copy behind, for many
// rounds: memory does not pile up, and what ended threads kept is used again.
TEST_F(chXmlThreads, CellsComeBackFromOtherThreads) {
    chXmlObject documents[THREADS];
    std::size_t nAfterTenth = 0;
    for (int nRound = 0; nRound < 60; ++nRound) {
        std::barrier swap(THREADS);
        vdxtest::runTogether(THREADS, [&](int i) {
            const std::string szItem = "<a b='" + std::to_string(i) + "'/>t";
            documents[i] = chXmlDocument::ParseDocument("<r>" + repeated(szItem, 1000) + "</r>");
            swap.arrive_and_wait();
            const int nOther = (i + 1) % THREADS;
            EXPECT_EQ(std::to_string(nOther), documents[nOther]["r"]["a"].GetAttributeValue("b", ""));
            documents[nOther] = documents[nOther].clone();
        });
        if (nRound == 10) nAfterTenth = vdx::cellSlabBytes();
    }
    EXPECT_LE(vdx::cellSlabBytes(), nAfterTenth + (4U << 20));
}

// Trees that are made and die after the main thread's own cells were given back.
struct LateReader {
    const std::string szText = "<a b=\"c\">" + std::string(40, 'd') + "<!-- e --></a>";
    const chXmlDocument document = chXmlDocument::ParseDocument(szText);
    ~LateReader() {
        if (tree(szText).clone().ExportToText(true) != document.ExportToText(true)) _exit(2);
    }
};
TEST_F(chXmlThreads, StaticDocumentsDieLate) {
    const auto exitWithDocument = [] {
        static LateReader s_reader;
        std::exit(0);
    };
    EXPECT_EXIT(exitWithDocument(), testing::ExitedWithCode(0), "");
}

// Borrows text cells from the slabs and gives them back, which takes their lock for most of the time.
bool borrowAndReturn() {
    constexpr auto KIND = vdx::CellKind::FirstText;
    vdx::CellCache cache{};
    vdx::CellSlabs::shared().refill(KIND, cache, 5000);
    for (; cache.pFresh != cache.pFreshEnd; cache.pFresh += vdx::CELL_SIZES[static_cast<int>(KIND)])
        cache.pHead = ::new (cache.pFresh) vdx::FreeCell{cache.pHead};
    vdx::CellSlabs::shared().giveBack(cache.pHead);
    return tree("<a><b/></a>").hasChildren();
}
TEST_F(chXmlThreads, AForkedChildCanUseCells) {
    EXPECT_EQ(0, vdxtest::forkWhileBusy(15, borrowAndReturn, borrowAndReturn));
}

}  // namespace
