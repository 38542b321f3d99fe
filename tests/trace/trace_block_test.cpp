// The bytes of the trace block and its queue, read by a reader of their own.
#include <algorithm>
#include <cstring>

#include <vdx/named_object.h>

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
    void put(std::int64_t nOffset, std::uint64_t n) const { std::memcpy(m_pBytes + nOffset, &n, sizeof n); }
    std::string text(std::int64_t nOffset, std::size_t n) const { return {m_pBytes + nOffset, n}; }
    // Where the link at an offset leads to.
    std::int64_t follow(std::int64_t nOffset) const { return nOffset + at<std::int64_t>(nOffset); }
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
    block.put(32, 2 + (3ull << 32));  // Another default, level and method, acts at once.
    vdxTrace(3, "no");
    vdxTrace(2, "yes");
    EXPECT_EQ(withoutStamps(queuedText()), "[D:Who?@yes\n");

    EXPECT_EQ(helper().GetProcessTraceOption()->level, -1);
    EXPECT_EQ(block.at<std::uint32_t>(40), 1u);
    const std::int64_t nRecord = block.list(48).at(0);
    EXPECT_EQ(block.at<std::int32_t>(nRecord + 16), vdxGetCurrentProcessId());
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
    EXPECT_EQ(queuedText(), "first\n\nthree\n");
    EXPECT_EQ(block.at<std::uint64_t>(64), 0u);
    EXPECT_TRUE(block.lines().empty());
}

// A process traces into the shared queue until old lines are moved aside, into segments of their own, which
// another user of the block can read; a reader of the queue gets all in order.
TEST(TraceBlock, ASharedTraceOfMoreThanTheBlockHolds) {
    setenv("trace", "5:share", 1);
    const RawBlock block;
    constexpr int LINES = 4000;
    for (int i = 0; i < LINES; ++i)
        vdxTrace(5, "line %d|%s", i, std::string(1000, '.').c_str());
    vdxTrace(6, "not this");
    const auto nMoved = LINES - block.at<std::uint64_t>(64), nBytes = block.at<std::uint64_t>(88);
    EXPECT_EQ(block.at<std::uint64_t>(96), nBytes + nMoved) << "with newlines";
    {
        const RawBlock segment("ipc_system_trace.0", 0x100000);
        EXPECT_EQ(segment.at<std::int32_t>(0), 0x100000);
        EXPECT_EQ(segment.at<std::int32_t>(4), 4106);
        EXPECT_TRUE(segment.text(8, 100).starts_with("[D:Who?+"));
    }
    const std::string text = withoutStamps(queuedText());
    std::string expected = "[M:TraceHelper@Write " + std::to_string(nBytes) + " bytes first.\n";
    for (std::uint64_t i = 0; i < LINES; ++i)
        expected += "[D:Who?@line " + std::to_string(i) + '|' + std::string(1000, '.') +
                    (i + 1 == nMoved ? "\n\n" : "\n");
    EXPECT_TRUE(text == expected) << text.substr(0, 100);
    EXPECT_EQ(block.text(88, 16), std::string(16, 0));
    // Other segments follow.
    EXPECT_EQ(block.at<std::uint64_t>(104), (nBytes + nMoved) / (0x100000 - 8) + 1);
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
    EXPECT_EQ(withoutStamps(queuedText()), "[M:TraceHelper@Write 6 bytes first.\nbefore\n\nafter\n");
}

TEST(TraceBlock, AForkedChildHasARecordOfItsOwnEvenInAFullQueue) {
    const RawBlock block;
    helper().ResetTraceLevel(3);
    while (block.at<std::uint64_t>(88) == 0)
        helper().TraceToShareMemory(std::string(600, 'z'));
    const int idParent = getpid();
    runInChild([&] {
        alarm(20);
        EXPECT_EQ(helper().GetOutputLevel(), 0x7FFFFFFF);
        EXPECT_EQ(block.at<std::uint32_t>(40), 2u);
        const auto [idFirst, idLast] = std::minmax({idParent, vdxGetCurrentProcessId()});
        EXPECT_EQ(block.at<std::int32_t>(block.list(48).front() + 16), idFirst);
        EXPECT_EQ(block.at<std::int32_t>(block.list(48).back() + 16), idLast);
    });
    EXPECT_EQ(helper().GetOutputLevel(), 3);
}
