// The bytes of the trace block and its queue, read by a reader of their own.
#include <vdx/trace_helper.h>

#include <sys/wait.h>
#include <unistd.h>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vdx/named_object.h>
#include <vdx/platform.h>
#include <vdx/trace.h>

namespace {

uCTraceHelper& helper() {
    return *uCTraceHelper::getInstance();
}

// The block as another user of it sees it: bytes by name.
class RawBlock {
public:
    RawBlock() {
        helper();
        m_pBytes = static_cast<const unsigned char*>(m_file.OpenMapFile("ipc_system_trace", 0x200000));
    }
    ~RawBlock() { m_file.CloseMapFile(); }

    template <class T>
    T at(std::int64_t nOffset) const {
        T value;
        std::memcpy(&value, m_pBytes + nOffset, sizeof value);
        return value;
    }
    // Where the link at an offset leads to; -1 for none.
    std::int64_t follow(std::int64_t nOffset) const {
        const auto nLink = at<std::int64_t>(nOffset);
        return nLink == -1 ? -1 : nOffset + nLink;
    }
    // The offsets of a list's members; checks that the way back is the same.
    std::vector<std::int64_t> list(std::int64_t nHead) const {
        std::vector<std::int64_t> members;
        for (std::int64_t n = follow(nHead); n != nHead; n = follow(n)) {
            EXPECT_EQ(follow(n + 8), (members.empty() ? nHead : members.back()) + 8);
            members.push_back(n);
        }
        EXPECT_EQ(follow(nHead + 8), (members.empty() ? nHead : members.back()) + 8);
        return members;
    }
    std::string text(std::int64_t nLine) const {
        return {reinterpret_cast<const char*>(m_pBytes + nLine + 24), at<std::uint32_t>(nLine + 16)};
    }

private:
    chSegmentMapFile m_file;
    const unsigned char* m_pBytes = nullptr;
};

std::vector<std::string> readAll() {
    std::vector<std::string> texts;
    for (std::string text; helper().ReadShareMemoryString(text);)
        texts.push_back(text);
    return texts;
}

}  // namespace

TEST(TraceBlock, LiesAsDescribed) {
    const RawBlock block;
    EXPECT_EQ(block.at<std::int32_t>(0), 0x200000);
    EXPECT_EQ(block.at<std::int32_t>(4), 4105);
    EXPECT_EQ(block.at<std::int32_t>(8), 0x1FFF88);  // The pool's size,
    EXPECT_EQ(block.at<std::int32_t>(12), 112);      // from offset 8 to 120.
    EXPECT_EQ(block.at<std::int32_t>(32), 0x7FFFFFFF);
    EXPECT_EQ(block.at<std::uint32_t>(36), 1u);
    EXPECT_EQ(block.at<std::uint64_t>(40), 0u);
    for (int nOffset = 48; nOffset < 120; nOffset += 8)
        EXPECT_EQ(block.at<std::uint64_t>(nOffset), 0u) << nOffset;

    chTraceOption* pOption = helper().GetProcessTraceOption();
    EXPECT_EQ(block.at<std::uint32_t>(40), 1u);
    const auto records = block.list(48);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(block.at<std::int32_t>(records[0] + 16), vdxGetCurrentProcessId());
    EXPECT_EQ(block.at<std::uint64_t>(records[0] + 20), ~0ull);
    helper().ResetTraceLevel(4);
    helper().RedirectToShareMemory();
    EXPECT_EQ(block.at<std::int32_t>(records[0] + 20), 4);
    EXPECT_EQ(block.at<std::uint32_t>(records[0] + 24), 3u);
    EXPECT_EQ(pOption->level, 4);

    for (const char* szLine : {"first", "", "three"})
        EXPECT_TRUE(helper().TraceToShareMemory(szLine));
    EXPECT_EQ(block.at<std::uint64_t>(64), 3u);
    auto lines = block.list(72);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(block.text(lines[0]), "first");
    EXPECT_EQ(block.text(lines[1]), "");
    EXPECT_EQ(block.text(lines[2]), "three");
    // Each is a used cell of the pool, 24 bytes longer than its text.
    EXPECT_EQ(block.at<std::uint64_t>(lines[0] - 8), 8u + 32u);

    EXPECT_EQ(readAll(), (std::vector<std::string>{"first", "", "three"}));
    EXPECT_EQ(block.at<std::uint64_t>(64), 0u);
    EXPECT_TRUE(block.list(72).empty());
    EXPECT_EQ(block.at<std::uint64_t>(88), 0u);
}

TEST(TraceBlock, AFullQueueMovesItsOldestLinesAside) {
    const RawBlock block;
    // Several times the block, so that the moved text spans segments of its own.
    constexpr std::size_t LENGTH = 1000, LINES = 8000;
    std::vector<std::string> sent;
    for (std::size_t i = 0; i < LINES; ++i) {
        sent.push_back(std::to_string(i));
        sent.back().resize(LENGTH, '.');
        ASSERT_TRUE(helper().TraceToShareMemory(sent.back()));
    }
    const auto nQueued = static_cast<std::size_t>(block.at<std::uint64_t>(64));
    EXPECT_EQ(block.at<std::uint64_t>(88), (LINES - nQueued) * LENGTH);
    EXPECT_EQ(block.at<std::uint64_t>(96), (LINES - nQueued) * (LENGTH + 1));

    const std::vector<std::string> texts = readAll();
    ASSERT_EQ(texts.size(), nQueued + 1);
    std::string expected = " Write " + std::to_string((LINES - nQueued) * LENGTH) + " bytes first.\n";
    for (std::size_t i = 0; i < LINES - nQueued; ++i)
        expected += sent[i] + '\n';
    ASSERT_EQ(texts[0].substr(0, 14), "[M:TraceHelper");
    EXPECT_TRUE(texts[0].ends_with(expected));
    for (std::size_t i = 0; i < nQueued; ++i)
        ASSERT_EQ(texts[i + 1], sent[LINES - nQueued + i]);
    EXPECT_EQ(block.at<std::uint64_t>(88), 0u);
    EXPECT_EQ(block.at<std::uint64_t>(96), 0u);
    EXPECT_TRUE(readAll().empty());

    // The segments are gone: the next ones have other numbers.
    EXPECT_EQ(block.at<std::uint64_t>(104), (LINES - nQueued) * (LENGTH + 1) / (0x100000 - 8) + 1);
    chSegmentMapFile segment;
    EXPECT_NE(segment.OpenMapFile("ipc_system_trace.0", 8), nullptr);
    EXPECT_TRUE(segment.IsCreateByMe());
    segment.CloseMapFile();
}

TEST(TraceBlock, AnotherUserOfTheBlockCanReadTheMovedText) {
    const RawBlock block;
    const std::string line(0x100000, 'y');  // Two do not fit.
    ASSERT_TRUE(helper().TraceToShareMemory(line));
    ASSERT_TRUE(helper().TraceToShareMemory(line));
    EXPECT_EQ(block.at<std::uint64_t>(88), line.size());
    chSegmentMapFile file;
    const auto* pSegment = static_cast<const char*>(file.OpenMapFile("ipc_system_trace.0", 0x100000));
    EXPECT_FALSE(file.IsCreateByMe());
    std::int32_t header[2];
    std::memcpy(header, pSegment, sizeof header);
    EXPECT_EQ(header[0], 0x100000);
    EXPECT_EQ(header[1], 4106);
    EXPECT_EQ(std::string(pSegment + 8, 100), line.substr(0, 100));
    file.CloseMapFile();
    EXPECT_EQ(readAll().size(), 2u);
}

TEST(TraceBlock, ALineLongerThanTheBlockIsDropped) {
    EXPECT_FALSE(helper().TraceToShareMemory(std::string(0x1FFF88, 'x')));
    EXPECT_TRUE(readAll().empty());
    // It empties the queue first; what was there comes as moved text.
    EXPECT_TRUE(helper().TraceToShareMemory("before"));
    EXPECT_FALSE(helper().TraceToShareMemory(std::string(3'000'000, 'x')));
    EXPECT_TRUE(helper().TraceToShareMemory("after"));
    const auto texts = readAll();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_TRUE(texts[0].ends_with("Write 6 bytes first.\nbefore\n"));
    EXPECT_EQ(texts[1], "after");
}

TEST(TraceBlock, AChangeOfTheDefaultActsAtOnce) {
    const RawBlock block;
    chSegmentMapFile file;
    auto* pBytes = static_cast<char*>(file.OpenMapFile("ipc_system_trace", 0x200000));
    const std::int32_t option[2] = {2, 3};
    std::memcpy(pBytes + 32, option, sizeof option);
    EXPECT_EQ(helper().GetOutputLevel(), 2);
    vdxTrace(3, "no");
    vdxTrace(2, "yes");
    EXPECT_EQ(block.at<std::uint64_t>(64), 1u);
    file.CloseMapFile();
}

TEST(TraceBlock, AForkedChildHasARecordOfItsOwnEvenInAFullQueue) {
    const RawBlock block;
    helper().ResetTraceLevel(3);
    while (block.at<std::uint64_t>(88) == 0)
        helper().TraceToShareMemory(std::string(600, 'z'));
    const auto nParent = static_cast<std::int32_t>(getpid());
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(20);
        const bool bUnset = helper().GetOutputLevel() == 0x7FFFFFFF;
        const auto records = block.list(48);
        const bool bTwo = records.size() == 2 && block.at<std::uint32_t>(40) == 2;
        const bool bSorted = bTwo && block.at<std::int32_t>(records[0] + 16) == std::min(nParent, getpid()) &&
                             block.at<std::int32_t>(records[1] + 16) == std::max(nParent, getpid());
        _exit(bUnset && bSorted && !testing::Test::HasFailure() ? 0 : 1);
    }
    int nStatus = -1;
    waitpid(pid, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
    EXPECT_EQ(helper().GetOutputLevel(), 3);
}
