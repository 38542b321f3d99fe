// The bytes of the trace block and its queue, read by a reader of their own.
#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>
#include <vdx/named_object.h>
#include <vdx/platform.h>
#include <vdx/trace.h>

#include "support/child.h"
#include "trace/lines.h"

namespace {

// The block as another user of it sees it: bytes by name.
class RawBlock {
public:
    explicit RawBlock(const char* szName = "ipc_system_trace", int nSize = 0x200000) {
        helper();
        m_pBytes = static_cast<char*>(m_file.OpenMapFile(szName, nSize));
        EXPECT_FALSE(m_file.IsCreateByMe());
    }
    ~RawBlock() { m_file.CloseMapFile(); }

    template <class T>
    T at(std::int64_t nOffset) const {
        T value;
        std::memcpy(&value, m_pBytes + nOffset, sizeof value);
        return value;
    }
    template <class T>
    void put(std::int64_t nOffset, T value) const {
        std::memcpy(m_pBytes + nOffset, &value, sizeof value);
    }
    std::string text(std::int64_t nOffset, std::size_t nLength) const {
        return {m_pBytes + nOffset, nLength};
    }
    // Where the link at an offset leads to; -1 for none.
    std::int64_t follow(std::int64_t nOffset) const {
        const auto nLink = at<std::int64_t>(nOffset);
        return nLink == -1 ? -1 : nOffset + nLink;
    }
    // The offsets of a list's members; checks that the way back is the same.
    std::vector<std::int64_t> list(std::int64_t nHead) const {
        std::vector<std::int64_t> members;
        std::int64_t nLast = nHead;
        for (std::int64_t n = follow(nHead); n != nHead; n = follow(nLast = n)) {
            EXPECT_EQ(follow(n + 8), nLast + 8);
            members.push_back(n);
        }
        EXPECT_EQ(follow(nHead + 8), nLast + 8);
        return members;
    }
    // The texts of the queued lines.
    std::vector<std::string> lines() const {
        std::vector<std::string> texts;
        for (const std::int64_t nLine : list(72))
            texts.push_back(text(nLine + 24, at<std::uint32_t>(nLine + 16)));
        return texts;
    }
    // The ids of the process records.
    std::vector<std::int32_t> processes() const {
        std::vector<std::int32_t> ids;
        for (const std::int64_t nRecord : list(48))
            ids.push_back(at<std::int32_t>(nRecord + 16));
        return ids;
    }

private:
    chSegmentMapFile m_file;
    char* m_pBytes = nullptr;
};

}  // namespace

TEST(TraceBlock, LiesAsDescribed) {
    const RawBlock block;
    // Size, type, the pool's state (its size, where it lies from offset 8 on), default level and method.
    const std::pair<int, std::int32_t> fields[] = {{0, 0x200000}, {4, 4105},        {8, 0x1FFF88},
                                                   {12, 112},     {32, 0x7FFFFFFF}, {36, 1}};
    for (const auto& [nOffset, nValue] : fields)
        EXPECT_EQ(block.at<std::int32_t>(nOffset), nValue) << nOffset;
    EXPECT_EQ(block.text(40, 80), std::string(80, 0));

    EXPECT_EQ(helper().GetProcessTraceOption()->level, -1);
    EXPECT_EQ(block.at<std::uint32_t>(40), 1u);
    ASSERT_EQ(block.processes(), std::vector<std::int32_t>{vdxGetCurrentProcessId()});
    const std::int64_t nRecord = block.follow(48);
    EXPECT_EQ(block.at<std::uint64_t>(nRecord + 20), ~0ull);
    helper().ResetTraceLevel(4);
    helper().RedirectToShareMemory();
    EXPECT_EQ(block.at<std::int32_t>(nRecord + 20), 4);
    EXPECT_EQ(block.at<std::uint32_t>(nRecord + 24), 3u);

    const std::vector<std::string> texts = {"first", "", "three"};
    for (const std::string& text : texts)
        EXPECT_TRUE(helper().TraceToShareMemory(text));
    EXPECT_EQ(block.at<std::uint64_t>(64), 3u);
    EXPECT_EQ(block.lines(), texts);
    // Each is a used cell of the pool, 24 bytes longer than its text.
    EXPECT_EQ(block.at<std::uint64_t>(block.follow(72) - 8), 8u + 32u);
    EXPECT_EQ(readQueue(), texts);
    EXPECT_EQ(block.at<std::uint64_t>(64), 0u);
    EXPECT_TRUE(block.lines().empty());
}

// Into segments of their own, which another user of the block can read.
TEST(TraceBlock, AFullQueueMovesItsOldestLinesAside) {
    const RawBlock block;
    constexpr std::size_t LENGTH = 1000, LINES = 8000, SEGMENT = 0x100000 - 8;
    std::vector<std::string> sent;
    for (std::size_t i = 0; i < LINES; ++i) {
        sent.push_back(std::to_string(i));
        sent.back().resize(LENGTH, '.');
        ASSERT_TRUE(helper().TraceToShareMemory(sent.back()));
    }
    const auto nMoved = LINES - static_cast<std::size_t>(block.at<std::uint64_t>(64));
    EXPECT_EQ(block.at<std::uint64_t>(88), nMoved * LENGTH);
    EXPECT_EQ(block.at<std::uint64_t>(96), nMoved * (LENGTH + 1));
    {
        const RawBlock segment("ipc_system_trace.0", 0x100000);
        EXPECT_EQ(segment.at<std::int32_t>(0), 0x100000);
        EXPECT_EQ(segment.at<std::int32_t>(4), 4106);
        EXPECT_EQ(segment.text(8, LENGTH), sent[0]);
    }
    std::string moved = "[M:TraceHelper@Write " + std::to_string(nMoved * LENGTH) + " bytes first.\n";
    for (std::size_t i = 0; i < nMoved; ++i)
        moved += sent[i] + '\n';
    sent.erase(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(nMoved));
    sent.insert(sent.begin(), moved);
    std::vector<std::string> texts = readQueue();
    texts.at(0) = withoutStamps(texts[0]);
    EXPECT_TRUE(texts == sent) << texts[0].substr(0, 100);
    EXPECT_EQ(block.at<std::uint64_t>(88), 0u);
    EXPECT_EQ(block.at<std::uint64_t>(96), 0u);
    EXPECT_EQ(block.at<std::uint64_t>(104), nMoved * (LENGTH + 1) / SEGMENT + 1);  // Other numbers follow.
    chSegmentMapFile gone;
    gone.OpenMapFile("ipc_system_trace.0", 8);
    EXPECT_TRUE(gone.IsCreateByMe());
    gone.CloseMapFile();
}

// It empties the queue first; what was there comes as moved text.
TEST(TraceBlock, ALineLongerThanTheBlockIsDropped) {
    EXPECT_TRUE(helper().TraceToShareMemory("before"));
    for (const std::size_t nLength : {0x1FFF88u - 31, 3'000'000u})
        EXPECT_FALSE(helper().TraceToShareMemory(std::string(nLength, 'x')));
    EXPECT_TRUE(helper().TraceToShareMemory("after"));
    std::vector<std::string> texts = readQueue();
    texts.at(0) = withoutStamps(texts[0]);
    EXPECT_EQ(texts, (std::vector<std::string>{"[M:TraceHelper@Write 6 bytes first.\nbefore\n", "after"}));
}

TEST(TraceBlock, AChangeOfTheDefaultActsAtOnce) {
    const RawBlock block;
    block.put<std::int32_t>(32, 2);
    block.put<std::uint32_t>(36, 3);
    EXPECT_EQ(helper().GetOutputLevel(), 2);
    vdxTrace(3, "no");
    vdxTrace(2, "yes");
    EXPECT_EQ(block.lines().size(), 1u);
}

TEST(TraceBlock, AForkedChildHasARecordOfItsOwnEvenInAFullQueue) {
    const RawBlock block;
    helper().ResetTraceLevel(3);
    while (block.at<std::uint64_t>(88) == 0)
        helper().TraceToShareMemory(std::string(600, 'z'));
    const int idParent = getpid();
    vdxtest::runInChild([&] {
        alarm(20);
        EXPECT_EQ(helper().GetOutputLevel(), 0x7FFFFFFF);
        EXPECT_EQ(block.at<std::uint32_t>(40), 2u);
        EXPECT_EQ(block.processes(),
                  (std::vector{std::min(idParent, getpid()), std::max(idParent, getpid())}));
    });
    EXPECT_EQ(helper().GetOutputLevel(), 3);
}
