// The application's directories. The root is computed once a process, so each row has one of its own.
#include <vdx/directories.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include <vdx/platform.h>

#include "support/child.h"

namespace {

void setOrUnset(const char* szName, const char* szValue) {
    szValue ? setenv(szName, szValue, 1) : unsetenv(szName);
}

TEST(appRootPath, ComesFromTheEnvironmentOnce) {
    const struct {
        const char *szRoot, *szData, *szHome, *szExpected, *szDocuments;
    } rows[] = {
        {"/srv\\app\\data", "/data", "/home/me", "/srv/app/data", "/home/me/Documents"},
        {"", nullptr, "/home/me", "/home/me/.local/share/test_path", "/home/me/Documents"},
        {nullptr, "/data\\home/", "/home/me", "/data/home/test_path", "/home/me/Documents"},
        {nullptr, "relative/is/ignored", "/me", "/me/.local/share/test_path", "/me/Documents"},
        {nullptr, nullptr, nullptr, "", ""},
    };
    for (const auto& row : rows) {
        const auto child = vdxtest::runInChild([&row] {
            setOrUnset("APP_ROOT", row.szRoot);
            setOrUnset("XDG_DATA_HOME", row.szData);
            setOrUnset("HOME", row.szHome);
            appRootPath();
            setenv("APP_ROOT", "/comes/too/late", 1);
            std::printf("%s %s ", vdxGetAppRootPath().c_str(), getDiagnoseInfoPath().c_str());
            std::printf("%s", getAppDocumentsPath().c_str());
            return 0;
        });
        const std::string root = row.szExpected;
        EXPECT_EQ(child.out, root + " " + root + "/log " + row.szDocuments);
    }
}

TEST(AppPaths, AreThatOfTheExecutableAndTheOneThatWasSet) {
    EXPECT_EQ(getAppPath() + "/test_path", vdxGetExeFileName());
    EXPECT_EQ(getAppResourcePath(), getAppPath());
    EXPECT_EQ(vdxGetAppDocPath(), "");
    vdxSetAppDocPath("C:\\docs\\mine");
    EXPECT_EQ(vdxGetAppDocPath(), "C:/docs/mine");
    EXPECT_EQ(vdxGetAppDataRootPath(), vdxGetAppDocPath());
}

}  // namespace
