// The application's directories. The root is computed once a process, so each row has one of its own.
#include <vdx/directories.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include <vdx/platform.h>

#include "support/child.h"

namespace {

TEST(appRootPath, ComesFromTheEnvironmentOnce) {
    const char* const names[] = {"APP_ROOT", "XDG_DATA_HOME", "HOME"};
    const char* const rows[][5] = {
        // The values, the root, the folder for documents.
        {"/srv\\app\\data", "/data", "/home/me", "/srv/app/data", "/home/me/Documents"},
        {"", nullptr, "/home/me", "/home/me/.local/share/test_path", "/home/me/Documents"},
        {nullptr, "/data\\home/", "/home/me", "/data/home/test_path", "/home/me/Documents"},
        {nullptr, "relative/is/ignored", "/me", "/me/.local/share/test_path", "/me/Documents"},
        {nullptr, nullptr, nullptr, "", ""},
    };
    for (const auto& row : rows) {
        const auto child = vdxtest::runInChild([&] {
            for (int i = 0; i < 3; ++i)
                row[i] ? setenv(names[i], row[i], 1) : unsetenv(names[i]);
            appRootPath();
            setenv("APP_ROOT", "/comes/too/late", 1);
            std::printf("%s %s %s", vdxGetAppRootPath().c_str(), getDiagnoseInfoPath().c_str(),
                        getAppDocumentsPath().c_str());
            return 0;
        });
        const std::string root = row[3];
        EXPECT_EQ(child.out, root + " " + root + "/log " + row[4]);
    }
}

TEST(AppPaths, AreThatOfTheExecutableAndTheOneThatWasSet) {
    EXPECT_EQ(getAppPath() + "/test_path", vdxGetExeFileName());
    EXPECT_EQ(getAppResourcePath(), getAppPath());
    vdxSetAppDocPath("C:\\docs\\mine");
    EXPECT_EQ(vdxGetAppDocPath(), "C:/docs/mine");
    EXPECT_EQ(vdxGetAppDataRootPath(), vdxGetAppDocPath());
}

}  // namespace
