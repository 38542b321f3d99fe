// The platform's directories by the conventions of the XDG base directories.
#include <vdx/directories.h>

#include <cstdlib>

#include <vdx/path.h>
#include <vdx/platform.h>

namespace {

// Without a directory there is nothing below it either.
std::string below(const std::string& directory, const std::string& name) {
    return directory.empty() ? directory : pathAppend(directory, name);
}

std::string userDataDirectory() {
    // The convention says to ignore a value that is no absolute path.
    const char* szData = std::getenv("XDG_DATA_HOME");
    if (szData && *szData == '/') return szData;
    return below(vdxGetHomeDirectory(), ".local/share");
}

}  // namespace

std::string getApplicationSupportPath() {
    return below(userDataDirectory(), pathGetFileName(vdxGetExeFileName()));
}

std::string getAppDocumentsPath() {
    return below(vdxGetHomeDirectory(), "Documents");
}

std::string getAppPath() {
    return pathRemoveLastPart(vdxGetExeFileName());
}

std::string getAppResourcePath() {
    return getAppPath();
}
