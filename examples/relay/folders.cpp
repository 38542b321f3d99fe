// Where the relay keeps its files.
#include "folders.h"

#include <vdx/vdx.h>

bool openFolders(const Options& options, Folders& out) {
    // A relative path must be made absolute before its levels are created.
    const std::string root = options.root.empty() ? appRootPath() : options.root;
    out.root = pathGetAbsolutePath(root, vdxGetCurrentDirectory());
    out.log = pathAppend(out.root, "log");
    out.data = pathAppend(out.root, "data");
    for (const std::string& folder : {out.log, out.data}) {
        if (!pathCreateDirectory(folder)) {
            vdxWarningMessage(__FILE__, __LINE__, " cannot create %s: %s", folder.c_str(),
                              vdxTransLastError().c_str());
            return false;
        }
    }
    vdxSetAppDocPath(out.data);
    return true;
}
