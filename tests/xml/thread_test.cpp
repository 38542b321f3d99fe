// Handles on many threads; cells freed by other threads than took them.
#include <unistd.h>
#include <array>
#include <atomic>
#include <barrier>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/child.h"
#include "xml/cell_pool.h"
#include "xml/xml_support.h"

namespace {

constexpr int THREADS = 6;

class chXmlThreads : public xmltest::LeakFree {};

TEST_F(chXmlThreads, HandlesOnOneTree) {
    chXmlDocument document = chXmlDocument::ParseDocument("<r a='1'><x>t</x><y/><z><w/></z></r>");
    std::barrier start(THREADS);
    std::vector<std::thread> threads;
    std::atomic<int> nFound{0};
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&start, &nFound, mine = document] {
            start.arrive_and_wait();
            for (int n = 0; n < 3000; ++n) {
                chXmlObject copy = mine;
                for (chXmlElement e = copy["r"].getChildElement(); e.hasData(); ++e)
                    nFound += !e.getParent().hasData();
                copy = copy["r"]["z"];
                nFound += copy.tagName() == "z";
            }
        });
    }
    document = chXmlDocument();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(THREADS * 3000, nFound);
}

// All threads drop what is left of one tree at the same time: its last handle here,
// handles on its nodes there.
TEST_F(chXmlThreads, DroppingATreeInPieces) {
    for (int nRound = 0; nRound < 300; ++nRound) {
        chXmlObject root = chXmlDocument::ParseDocument("<r><a><b><c/></b></a><d><e/></d></r>");
        std::array<chXmlObject, 6> handles = {root["r"]["a"], root["r"]["a"]["b"], root["r"]["a"]["b"]["c"],
                                              root["r"]["d"], root["r"]["d"]["e"], std::move(root)};
        std::barrier start(static_cast<std::ptrdiff_t>(handles.size()));
        std::vector<std::thread> threads;
        for (chXmlObject& handle : handles) {
            threads.emplace_back([&start, mine = std::move(handle)]() mutable {
                start.arrive_and_wait();
                mine = chXmlObject();
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(0U, leaked());
    }
}

// One thread reads, another releases, for many rounds: memory does not pile up in
// either, and what ended threads kept is used again.
TEST_F(chXmlThreads, CellsComeBackFromOtherThreads) {
    std::string szText = "<r>";
    for (int i = 0; i < 3000; ++i)
        szText += "<item a='1' b='2'>text</item>";
    szText += "</r>";
    std::size_t nAfterTenth = 0;
    for (int nRound = 0; nRound < 40; ++nRound) {
        chXmlDocument document;
        std::thread([&] { document = chXmlDocument::ParseDocument(szText); }).join();
        ASSERT_EQ("text", document["r"].GetOption("item", ""));
        std::thread([mine = std::move(document)]() mutable { mine = chXmlDocument(); }).join();
        if (nRound == 10) nAfterTenth = vdx::cellSlabBytes();
    }
    EXPECT_LE(vdx::cellSlabBytes(), nAfterTenth + (vdx::CELLS_FROM_HEAP ? 0 : 1U << 20));
}

TEST_F(chXmlThreads, ManyThreadsReadAndReleaseEachOthersDocuments) {
    std::array<chXmlObject, THREADS> documents;
    for (int nRound = 0; nRound < 20; ++nRound) {
        std::barrier swap(THREADS);
        std::vector<std::thread> threads;
        for (int i = 0; i < THREADS; ++i) {
            threads.emplace_back([&, i] {
                std::string szText = "<r>";
                for (int n = 0; n < 400; ++n)
                    szText += "<a b='" + std::to_string(i) + "'/>t";
                documents[static_cast<std::size_t>(i)] = chXmlDocument::ParseDocument(szText + "</r>");
                swap.arrive_and_wait();
                chXmlObject& other = documents[static_cast<std::size_t>((i + 1) % THREADS)];
                EXPECT_EQ(std::to_string((i + 1) % THREADS), other["r"]["a"].GetAttributeValue("b", ""));
                other = other.clone();
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
}

// Trees that are made and die after the main thread's own cells were given back.
struct LateReader {
    ~LateReader() {
        const std::string szText = "<a b=\"c\">" + std::string(40, 'd') + "<!-- e --></a>";
        if (chXmlDocument::ParseDocument(szText).clone().ExportToText(true) != szText) _exit(2);
    }
};

TEST_F(chXmlThreads, StaticDocumentsDieLate) {
    EXPECT_EXIT(
        {
            static LateReader s_reader;
            static chXmlDocument s_document = chXmlDocument::ParseDocument("<a b='c'>d</a>");
            static chXmlDocument s_other = s_document;
            std::exit(s_other.hasChildren() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(chXmlThreads, AForkedChildCanUseCells) {
    const int nBad = vdxtest::forkWhileBusy(
        20, [] { chXmlDocument::ParseDocument("<a><b c='d'/></a>").clone(); },
        [] { return chXmlDocument::ParseDocument("<a><b/></a>").hasChildren(); });
    EXPECT_EQ(nBad, 0);
}

}  // namespace
