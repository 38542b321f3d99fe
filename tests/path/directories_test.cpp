// The application's directories. Each case is a process of its own: the root is
// computed once.
#include <vdx/directories.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/path.h>
#include <vdx/platform.h>

namespace {

TEST(appRootPath, ComesFromTheEnvironmentOnce) {
    setenv("APP_ROOT", "/srv\\app\\data", 1);
    EXPECT_EQ(appRootPath(), "/srv/app/data");
    setenv("APP_ROOT", "/other", 1);
    EXPECT_EQ(vdxGetAppRootPath(), "/srv/app/data");
    EXPECT_EQ(getDiagnoseInfoPath(), "/srv/app/data/log");
}

TEST(appRootPath, EmptyVariableMeansThePlatformsPlace) {
    setenv("APP_ROOT", "", 1);
    setenv("HOME", "/home/somebody", 1);
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(appRootPath(), "/home/somebody/.local/share/test_path");
}

TEST(appRootPath, UnsetVariableMeansThePlatformsPlace) {
    unsetenv("APP_ROOT");
    setenv("XDG_DATA_HOME", "/data\\home/", 1);
    EXPECT_EQ(appRootPath(), "/data/home/test_path");
}

TEST(appRootPath, OneTextForAllThreads) {
    setenv("APP_ROOT", "/root", 1);
    std::atomic<bool> go{false};
    std::vector<const std::string*> seen(8);
    std::vector<std::thread> threads;
    for (const std::string*& pSeen : seen) {
        threads.emplace_back([&go, &pSeen] {
            while (!go)
                std::this_thread::yield();
            pSeen = &appRootPath();
        });
    }
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string* pSeen : seen)
        EXPECT_EQ(pSeen, &appRootPath());
}

TEST(AppDocPath, EmptyUntilSet) {
    EXPECT_EQ(vdxGetAppDocPath(), "");
    vdxSetAppDocPath("C:\\docs\\mine");
    EXPECT_EQ(vdxGetAppDocPath(), "C:/docs/mine");
    EXPECT_EQ(vdxGetAppDataRootPath(), vdxGetAppDocPath());
}

TEST(PlatformDirectories, FollowTheUserAndTheExecutable) {
    setenv("HOME", "/home/somebody", 1);
    setenv("XDG_DATA_HOME", "relative/is/ignored", 1);
    EXPECT_EQ(getApplicationSupportPath(), "/home/somebody/.local/share/test_path");
    EXPECT_EQ(getAppDocumentsPath(), "/home/somebody/Documents");
    EXPECT_EQ(getAppPath() + "/test_path", vdxGetExeFileName());
    EXPECT_EQ(getAppResourcePath(), getAppPath());
    unsetenv("HOME");
    EXPECT_EQ(getApplicationSupportPath(), "");
    EXPECT_EQ(getAppDocumentsPath(), "");
}

}  // namespace
