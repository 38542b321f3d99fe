// Buffered files and whole-file reads and writes. What happens when a call of the system fails is tested
// in file_fault_test.cpp.
#include "siblings/pmrfile/file_stdio.h"

#include <sys/stat.h>
#include <thread>

#include <gtest/gtest.h>

#include <vdx/path.h>

#include "siblings/pmrfile/whole_file.h"
#include "support/temp_dir.h"

namespace {

TEST(chFileStdio, WritesAppendsAndReadsElements) {
    const TempDir dir;
    const std::string path = dir / "f";
    chFileStdio file;
    EXPECT_FALSE(file.Open(path, chFileStdio::OPEN_READ)) << "there is none";
    ASSERT_TRUE(file.Open(dir.write("f", "stale and longer"), 4097));
    EXPECT_TRUE(file.WriteString("first"));
    ASSERT_TRUE(file.Open(path, 12288)) << "opening closes the file held so far";
    EXPECT_EQ(file.GetPosition(), 5);
    EXPECT_EQ(file.Write("+second", 1, 7), 7u);
    EXPECT_TRUE(file.Sync());
    EXPECT_EQ(TempDir::read(path), "first+second");
    ASSERT_TRUE(file.Open(path, 0));
    char buffer[12];
    EXPECT_EQ(file.Read(buffer, 5, 2), 2u);
    EXPECT_FALSE(file.IsEOF());
    EXPECT_EQ(file.Read(buffer, 5, 1), 0u);
    EXPECT_TRUE(file.IsEOF());
    EXPECT_FALSE(file.HasFailed());
    EXPECT_EQ(file.Write("x", 1, 1), 0u) << "open for reading";
    EXPECT_FALSE(file.Open(path, 1)) << "unknown mode";
    EXPECT_FALSE(file.Open(dir.path(), chFileStdio::OPEN_READ)) << "a directory";
    EXPECT_FALSE(file.IsFileOpened() || file.WriteString("x") || file.Sync());
    EXPECT_TRUE(file.IsEOF() && file.GetPosition() == -1 && file.Close()) << "nothing is open";
}

TEST(FullDisk, IsReportedByFlushByCloseAndByWholeWrites) {
    chFileStdio file;
    ASSERT_TRUE(file.Open("/dev/full", chFileStdio::OPEN_APPEND));
    EXPECT_TRUE(file.WriteString("buffered"));
    EXPECT_FALSE(file.Flush());
    EXPECT_FALSE(file.Close());
    ASSERT_TRUE(file.Open("/dev/full", chFileStdio::OPEN_CREATE));
    EXPECT_TRUE(file.WriteString("buffered"));
    EXPECT_FALSE(file.Close()) << "only the close writes it";
    EXPECT_FALSE(vdxWriteBinFile("/dev/full", "x"));
    EXPECT_FALSE(pathCopyFile("/proc/self/status", "/dev/full"));
}

// Pipes and processes do not tell their size beforehand.
TEST(WholeFiles, AreReadToTheEndWhateverTheirSize) {
    const TempDir dir;
    const std::string pipe = dir / "pipe", sent(300000, '\0');
    std::string text;
    std::vector<unsigned char> binary;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread toCopy([&] { EXPECT_TRUE(vdxWriteBinFile(pipe, sent)); });
    EXPECT_TRUE(pathCopyFile(pipe, dir / "copy"));
    toCopy.join();
    EXPECT_TRUE(vdxDumpBinFile(dir / "copy", binary));
    EXPECT_TRUE(std::string(binary.begin(), binary.end()) == sent);
    std::thread toRead([&] { EXPECT_TRUE(pathCopyFile(dir / "copy", pipe)); });
    EXPECT_TRUE(vdxDumpTextFileA(pipe, text));
    toRead.join();
    EXPECT_TRUE(text == sent);
    EXPECT_TRUE(pathCopyFile("/proc/self/status", dir / "status"));
    for (const std::string& path : {dir / "status", std::string("/proc/self/status")}) {
        EXPECT_TRUE(vdxDumpTextFileA(path, text));
        EXPECT_NE(text.find("Threads:"), std::string::npos);
    }
    EXPECT_TRUE(vdxWriteBinFile(dir / "copy", "", true));
    EXPECT_TRUE(vdxDumpTextFileA(dir / "copy", text));
    EXPECT_EQ(text, "");
}

}  // namespace
