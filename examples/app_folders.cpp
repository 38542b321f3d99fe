// Where an application keeps its files, what lies there, and a function from a module loaded at run time.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vdx/directories.h>
#include <vdx/dynamic_module.h>
#include <vdx/find_file.h>
#include <vdx/path.h>
#include <vdx/platform.h>
#include <vdx/warnings.h>

namespace {

bool create(const std::string& path) {
    std::FILE* pFile = std::fopen(path.c_str(), "wx");
    return pFile != nullptr && std::fclose(pFile) == 0;
}

void showFolders() {
    vdxSetAppDocPath(vdxGetHomeDirectory() + "/notes");
    consolePrintf(false, "documents in %s", vdxGetAppDocPath().c_str());
    consolePrintf(false, "logs in %s", getDiagnoseInfoPath().c_str());
}

int readLogs() {
    int nRead = 0;
    const auto read = [&](const std::string& path) {
        consolePrintf(false, "found %s", path.c_str());
        ++nRead;
    };
    for (const std::string& path : vdxFindFile(appRootPath().c_str(), "*.log;*.txt;-~*", true))
        read(path);
    return nRead;
}

void callModule() {
    chDynamicModule module("libm.so.6");
    if (auto* pCosine = reinterpret_cast<double (*)(double)>(module.GetMethod("cos")))
        consolePrintf(false, "cos(0) = %g", pCosine(0));
}

}  // namespace

int main() {
    // An application would leave the variable to its users.
    const std::string root =
        vdxGetTempDirectory() + "/app_folders-" + std::to_string(vdxGetCurrentProcessId());
    setenv("APP_ROOT", root.c_str(), 1);
    showFolders();

    std::string log = pathAppend(getDiagnoseInfoPath(), "today.txt");
    if (pathCreateDirectory(pathRemoveLastPart(log)) && !pathFileExist(log)) create(log);
    const bool bRight = readLogs() == 1;
    callModule();
    return pathRemoveDirectory(root) && bRight ? 0 : 1;
}
