// Where an application keeps its files.
#include <vdx/directories.h>

#include <algorithm>
#include <cstdlib>

#include "base/no_destructor.h"
#include "base/singleton.h"
#include "siblings/qvstl/text.h"

namespace {

std::string withForwardSlashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::string computeRootPath() {
    std::string path;
    if (const char* szRoot = std::getenv("APP_ROOT")) path = qv::string_ascii_to_utf8(szRoot, "");
    if (path.empty()) path = getApplicationSupportPath();
    return withForwardSlashes(std::move(path));
}

struct RootPath {
    static constexpr const char* SINGLETON_NAME = "RootPath";
    static constexpr bool SINGLETON_STDERR = false;

    const std::string path = computeRootPath();
};

std::string& documentPath() {
    static vdx::NoDestructor<std::string> s_path;
    return s_path.get();
}

}  // namespace

const std::string& appRootPath() {
    return vdx::Singleton<RootPath>::getInstance().path;
}

std::string vdxGetAppRootPath() {
    return appRootPath();
}

std::string getDiagnoseInfoPath() {
    return appRootPath() + "/log";
}

void vdxSetAppDocPath(const std::string& path) {
    documentPath() = withForwardSlashes(path);
}

std::string vdxGetAppDocPath() {
    return documentPath();
}

std::string vdxGetAppDataRootPath() {
    return documentPath();
}
