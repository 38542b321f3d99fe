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
    std::string bytes(std::int64_t nOffset, std::size_t nLength) const {
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
        for (std::int64_t n = follow(nHead); n != nHead; n = follow(n)) {
            EXPECT_EQ(follow(n + 8), (members.empty() ? nHead : members.back()) + 8);
            members.push_back(n);
        }
        EXPECT_EQ(follow(nHead + 8), (members.empty() ? nHead : members.back()) + 8);
        return members;
    }
    // The texts of the queued lines.
    std::vector<std::string> lines() const {
        std::vector<std::string> texts;
        for (const std::int64_t nLine : list(72))
            texts.push_back(bytes(nLine + 24, at<std::uint32_t>(nLine + 16)));
        return texts;
    }

private:
    chSegmentMapFile m_file;
    char* m_pBytes = nullptr;
};

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
    EXPECT_EQ(block.at<std::uint64_t>(88), 0u);
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
        EXPECT_EQ(segment.bytes(8, LENGTH), sent[0]);
    }

    std::string moved;
    for (std::size_t i = 0; i < nMoved; ++i)
        moved += sent[i] + '\n';
    sent.erase(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(nMoved));
    std::vector<std::string> texts = readQueue();
    const std::size_t nHead = texts.at(0).find('\n') + 1;
    EXPECT_EQ(withoutStamps(texts[0].substr(0, nHead)),
              "[M:TraceHelper@Write " + std::to_string(nMoved * LENGTH) + " bytes first.\n");
    EXPECT_TRUE(texts[0].substr(nHead) == moved);
    texts.erase(texts.begin());
    EXPECT_TRUE(texts == sent);
    EXPECT_EQ(block.at<std::uint64_t>(88), 0u);
    EXPECT_EQ(block.at<std::uint64_t>(96), 0u);
    EXPECT_EQ(block.at<std::uint64_t>(104), nMoved * (LENGTH + 1) / SEGMENT + 1);  // Other numbers follow.
    chSegmentMapFile gone;
    gone.OpenMapFile("ipc_system_trace.0", 8);
    EXPECT_TRUE(gone.IsCreateByMe());
    gone.CloseMapFile();
}

TEST(TraceBlock, ALineLongerThanTheBlockIsDropped) {
    EXPECT_FALSE(helper().TraceToShareMemory(std::string(0x1FFF88, 'x')));
    EXPECT_TRUE(readQueue().empty());
    // It empties the queue first; what was there comes as moved text.
    EXPECT_TRUE(helper().TraceToShareMemory("before"));
    EXPECT_FALSE(helper().TraceToShareMemory(std::string(3'000'000, 'x')));
    EXPECT_TRUE(helper().TraceToShareMemory("after"));
    const auto texts = readQueue();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(withoutStamps(texts[0]), "[M:TraceHelper@Write 6 bytes first.\nbefore\n");
    EXPECT_EQ(texts[1], "after");
}

TEST(TraceBlock, AChangeOfTheDefaultActsAtOnce) {
    const RawBlock block;
    block.put<std::int32_t>(32, 2);
    block.put<std::uint32_t>(36, 3);
    EXPECT_EQ(helper().GetOutputLevel(), 2);
    vdxTrace(3, "no");
    vdxTrace(2, "yes");
    EXPECT_EQ(block.at<std::uint64_t>(64), 1u);
}

TEST(TraceBlock, AForkedChildHasARecordOfItsOwnEvenInAFullQueue) {
    const RawBlock block;
    helper().ResetTraceLevel(3);
    while (block.at<std::uint64_t>(88) == 0)
        helper().TraceToShareMemory(std::string(600, 'z'));
    const int idParent = getpid();
    const auto result = vdxtest::runInChild([&] {
        alarm(20);
        EXPECT_EQ(helper().GetOutputLevel(), 0x7FFFFFFF);
        EXPECT_EQ(block.at<std::uint32_t>(40), 2u);
        std::vector<int> ids;
        for (const std::int64_t nRecord : block.list(48))
            ids.push_back(block.at<std::int32_t>(nRecord + 16));
        EXPECT_EQ(ids, (std::vector<int>{std::min(idParent, getpid()), std::max(idParent, getpid())}));
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(result.nStatus, 0) << result.out;
    EXPECT_EQ(helper().GetOutputLevel(), 3);
}
