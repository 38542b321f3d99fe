// Buffered files and whole-file reads and writes.
#include "siblings/pmrfile/file_stdio.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <thread>

#include <gtest/gtest.h>

#include "siblings/pmrfile/whole_file.h"
#include "support/temp_dir.h"

namespace {

// Every write to it fails for want of space.
constexpr const char* FULL_DEVICE = "/dev/full";

TEST(chFileStdio, ModesCreateTruncateAndAppend) {
    const TempDir dir;
    const std::string path = dir / "f";
    chFileStdio file;
    EXPECT_FALSE(file.IsFileOpened());
    EXPECT_FALSE(file.Open(path, chFileStdio::OPEN_READ));
    ASSERT_TRUE(file.Open(path, 4097));
    EXPECT_TRUE(file.WriteString("first"));
    EXPECT_EQ(file.GetPosition(), 5);
    ASSERT_TRUE(file.Open(path, 12288)) << "opening closes the file held so far";
    EXPECT_EQ(file.GetPosition(), 5);
    EXPECT_EQ(file.Write("+second", 1, 7), 7u);
    EXPECT_TRUE(file.Sync());
    EXPECT_EQ(TempDir::read(path), "first+second");
    EXPECT_TRUE(file.Close());
    ASSERT_TRUE(file.Open(path, 4097));
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(TempDir::read(path), "");
    EXPECT_FALSE(file.Open(path, 1)) << "unknown mode";
    ASSERT_TRUE(file.Open(dir / "new", 12288));
    EXPECT_EQ(file.GetPosition(), 0);
}

TEST(chFileStdio, ReadsElementsToTheEnd) {
    const TempDir dir;
    chFileStdio file;
    ASSERT_TRUE(file.Open(dir.write("f", "abcdefg"), 0));
    char buffer[8] = {};
    EXPECT_EQ(file.Read(buffer, 3, 2), 2u);
    EXPECT_FALSE(file.IsEOF());
    EXPECT_EQ(file.Read(buffer, 1, 8), 1u);
    EXPECT_EQ(buffer[0], 'g');
    EXPECT_TRUE(file.IsEOF());
    EXPECT_FALSE(file.HasFailed());
    EXPECT_EQ(file.Write("x", 1, 1), 0u) << "open for reading";
}

TEST(chFileStdio, WithoutAFileNothingHappens) {
    chFileStdio file;
    char byte;
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(file.Read(&byte, 1, 1), 0u);
    EXPECT_EQ(file.Write("x", 1, 1), 0u);
    EXPECT_FALSE(file.WriteString("x"));
    EXPECT_FALSE(file.Flush());
    EXPECT_FALSE(file.Sync());
    EXPECT_TRUE(file.IsEOF());
    EXPECT_EQ(file.GetPosition(), -1);
}

TEST(chFileStdio, DirectoryDoesNotOpen) {
    const TempDir dir;
    chFileStdio file;
    EXPECT_FALSE(file.Open(dir.path(), 0));
    EXPECT_EQ(errno, EISDIR);
}

TEST(chFileStdio, LostWriteIsReportedByFlushAndByClose) {
    chFileStdio file;
    ASSERT_TRUE(file.Open(FULL_DEVICE, 12288));
    EXPECT_TRUE(file.WriteString("buffered"));
    EXPECT_FALSE(file.Flush());
    EXPECT_FALSE(file.Close());
    ASSERT_TRUE(file.Open(FULL_DEVICE, 4097));
    EXPECT_TRUE(file.WriteString("buffered"));
    EXPECT_FALSE(file.Close()) << "only the close writes it";
}

TEST(chFileStdio, ClosesOnExec) {
    const TempDir dir;
    const int nExpected = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(nExpected);
    chFileStdio file;
    ASSERT_TRUE(file.Open(dir / "f", 4097));
    const int nFlags = fcntl(nExpected, F_GETFD);
    ASSERT_NE(nFlags, -1) << "the lowest free descriptor is the file's";
    EXPECT_TRUE(nFlags & FD_CLOEXEC);
}

TEST(WholeFile, RoundTripsAnyBytes) {
    const TempDir dir;
    for (const std::size_t nSize : {0u, 1u, 4095u, 4096u, 4097u, 300000u}) {
        SCOPED_TRACE(nSize);
        std::string bytes(nSize, '\0');
        for (std::size_t i = 0; i < nSize; ++i)
            bytes[i] = static_cast<char>(i * 7);
        ASSERT_TRUE(vdxWriteBinFile(dir / "f", bytes, nSize % 2 != 0));
        std::string text = "stale";
        std::vector<unsigned char> binary(3);
        EXPECT_TRUE(vdxDumpTextFileA(dir / "f", text));
        EXPECT_EQ(text, bytes);
        EXPECT_TRUE(vdxDumpBinFile(dir / "f", binary));
        EXPECT_EQ(std::string(binary.begin(), binary.end()), bytes);
    }
}

TEST(WholeFile, FailureLeavesAnEmptyResult) {
    const TempDir dir;
    std::string text = "stale";
    EXPECT_FALSE(vdxDumpTextFileA(dir.path(), text));
    EXPECT_EQ(text, "");
    std::vector<unsigned char> binary(3);
    EXPECT_FALSE(vdxDumpBinFile(dir / "missing", binary));
    EXPECT_TRUE(binary.empty());
    EXPECT_FALSE(vdxDumpTextFileA("", text));
    EXPECT_FALSE(vdxWriteBinFile(dir.path(), "x"));
    EXPECT_FALSE(vdxWriteBinFile(FULL_DEVICE, "x"));
}

TEST(WholeFile, SizeOfTheStatusIsNotTrusted) {
    const TempDir dir;
    std::string text;
    ASSERT_TRUE(vdxDumpTextFileA("/proc/self/status", text));
    EXPECT_NE(text.find("Name:"), std::string::npos);
    const std::string pipe = dir / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string sent(100000, 'p');
    std::thread writer([&] { EXPECT_TRUE(vdxWriteBinFile(pipe, sent)); });
    EXPECT_TRUE(vdxDumpTextFileA(pipe, text));
    writer.join();
    EXPECT_EQ(text, sent);
}

}  // namespace
