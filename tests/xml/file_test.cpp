// Files: loading repairs, saving keeps.
#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "xml/xml_support.h"

using xmltest::dump;

namespace {

class chXmlFiles : public xmltest::LeakFree {
protected:
    std::size_t filesInDir() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_dir.path()), {}));
    }
    TempDir m_dir;
};

// Each companion holds a document named after itself, or is not there.
TEST_F(chXmlFiles, LoadRepairsEveryState) {
    const struct {
        bool bPath, bOld, bNew;
        const char* szLoaded;
    } CASES[] = {
        {false, false, false, nullptr}, {true, false, false, "path"}, {true, false, true, "path"},
        {false, true, true, "new"},     {true, true, false, "path"},  {true, true, true, "new"},
        {false, false, true, nullptr},  {false, true, false, "old"},
    };
    for (const auto& test : CASES) {
        const TempDir dir;
        SCOPED_TRACE(testing::Message() << test.bPath << test.bOld << test.bNew);
        if (test.bPath) dir.write("f", "<path/>");
        if (test.bOld) dir.write("f.old", "<old/>");
        if (test.bNew) dir.write("f.new", "<new/>");
        chXmlFile file;
        EXPECT_EQ(test.szLoaded != nullptr, file.LoadFromFile(dir / "f"));
        EXPECT_EQ(test.szLoaded ? test.szLoaded : "", file.getChildElement().tagName());
        EXPECT_EQ(test.szLoaded != nullptr, std::filesystem::exists(dir / "f"));
        EXPECT_FALSE(std::filesystem::exists(dir / "f.old"));
        EXPECT_FALSE(std::filesystem::exists(dir / "f.new"));
    }
}

TEST_F(chXmlFiles, SaveAndLoad) {
    const std::string szPath = m_dir / "f.xml";
    chXmlFile file(szPath);
    EXPECT_FALSE(file.hasChildren());
    file.AddChildElement("a").SetOption("b", "<1>");
    EXPECT_TRUE(file.SaveToFile(""));
    EXPECT_EQ("<a>\n  <b>&lt;1&gt;</b>\n</a>\n", TempDir::read(szPath));
    file.AddChildElement("second");
    EXPECT_TRUE(file.SaveToFile(szPath));
    EXPECT_EQ(dump(file), dump(chXmlFile(szPath)));
    EXPECT_EQ(1U, filesInDir());
}

TEST_F(chXmlFiles, SaveElsewhereIsNotRemembered) {
    const std::string szPath = m_dir.write("f", "<a/>");
    chXmlFile file(szPath);
    EXPECT_TRUE(file.SaveToFile(m_dir / "copy"));
    file.AddChildElement("b");
    EXPECT_TRUE(file.SaveToFile(""));
    EXPECT_EQ("<a/>\n", TempDir::read(m_dir / "copy"));
    EXPECT_EQ("<a/>\n<b/>\n", TempDir::read(szPath));
    EXPECT_FALSE(chXmlFile().SaveToFile(""));
}

TEST_F(chXmlFiles, UnreadableFilesGiveAnEmptyDocument) {
    chXmlFile file(m_dir.write("good", "<a/>"));
    for (const std::string& szPath :
         {m_dir / "missing", m_dir.path(), m_dir.write("bad", "<a>"), std::string()}) {
        EXPECT_FALSE(file.LoadFromFile(szPath)) << szPath;
        EXPECT_EQ("(6 '')", dump(file));
    }
    EXPECT_EQ("<a>", TempDir::read(m_dir / "bad"));
    EXPECT_TRUE(file.LoadFromFile(m_dir.write("nothing", "")));
}

TEST_F(chXmlFiles, ALeftoverDoesNotMeetTheNextSave) {
    const std::string szPath = m_dir / "f";
    m_dir.write("f.old", "<old/>");
    m_dir.write("f.new", "<new/>");
    chXmlFile file;
    file.AddChildElement("saved");
    EXPECT_TRUE(file.SaveToFile(szPath));
    EXPECT_EQ("<saved/>\n", TempDir::read(szPath));
    EXPECT_EQ(1U, filesInDir());
}

TEST_F(chXmlFiles, SaveKeepsPermissions) {
    const std::string szPath = m_dir.write("f", "<a/>");
    ASSERT_EQ(0, chmod(szPath.c_str(), 0640));
    const mode_t nMask = umask(0077);
    EXPECT_TRUE(chXmlFile(szPath).SaveToFile(""));
    umask(nMask);
    struct stat status {};
    ASSERT_EQ(0, stat(szPath.c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(chXmlFiles, SaveDoesNotFollowAPlantedLink) {
    const std::string szVictim = m_dir.write("victim", "safe");
    ASSERT_EQ(0, symlink(szVictim.c_str(), (m_dir / "f.new").c_str()));
    chXmlFile file;
    file.AddChildElement("a");
    EXPECT_TRUE(file.SaveToFile(m_dir / "f"));
    EXPECT_EQ("safe", TempDir::read(szVictim));
}

TEST_F(chXmlFiles, ADirectoryIsNeverReplaced) {
    const std::string szPath = m_dir.makeDir("d");
    for (const char* szOther : {"d.old", "d.new"})  // Nor are files taken for its companions.
        m_dir.write(szOther, "<other/>");
    EXPECT_FALSE(chXmlFile(szPath).SaveToFile(szPath));
    EXPECT_TRUE(std::filesystem::is_directory(szPath));
    EXPECT_FALSE(chXmlFile().SaveToFile(m_dir / "missing/f"));
    EXPECT_EQ(3U, filesInDir());
    // One that has a companion's name would tell that an unfinished .new is whole.
    const std::string szFile = m_dir.write("f", "<a/>");
    m_dir.makeDir("f.old");
    EXPECT_FALSE(chXmlFile().SaveToFile(szFile));
    EXPECT_EQ("<a/>", TempDir::read(szFile));
}

// The system would take the part before the zero byte, for the companions as well.
TEST_F(chXmlFiles, AZeroByteEndsNoName) {
    const std::string szPath = m_dir.write("f", "<a/>");
    chXmlFile file(szPath + std::string("\0x", 2));
    EXPECT_FALSE(file.hasChildren());
    EXPECT_FALSE(file.SaveToFile(""));
    EXPECT_EQ("<a/>", TempDir::read(szPath));
}

}  // namespace
