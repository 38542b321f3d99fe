// The relay's configuration, kept as XML.
#include "settings.h"

#include <algorithm>
#include <cstdlib>

#include <vdx/vdx.h>

namespace {

void addDefaults(chXmlFile& file) {
    file.AddChildObject(xmlComment, "The relay's configuration; the password is stored encrypted.");
    chXmlElement root = file.AddChildElement("relay");
    root.SetAttributeValue("version", __szVersion_VER_VDX_LIB);
    // Options are added in front: the last one written stands first.
    root.SetOption("password", pswEncrypt("a tone & a <word>"));
    root.SetOption("tone", "440");
    root.SetOption("port", "27400");
}

// Loads what a save that was interrupted left, too: so a file is missing only when it
// is missing after this. A file that holds no configuration is not replaced.
bool loadOrMake(const std::string& path, chXmlFile& file, bool& bMade) {
    file.LoadFromFile(path);
    bMade = !pathFileExist(path);
    if (bMade) addDefaults(file);
    chXmlElement root = file.FindChildElement("relay");
    if (!root.hasData()) {
        vdxWarningMessage(__FILE__, __LINE__, " %s is no configuration", path.c_str());
        return false;
    }
    const std::string starts = root.GetOption("starts", "0");
    root.SetOption("starts", std::to_string(std::strtoull(starts.c_str(), nullptr, 10) + 1));
    if (file.SaveToFile(path)) return true;
    vdxWarningMessage(__FILE__, __LINE__, " cannot write %s: %s", path.c_str(), vdxTransLastError().c_str());
    return false;
}

}  // namespace

bool loadSettings(const Folders& folders, Settings& out, Report& report) {
    const std::string path = pathAppend(folders.data, "relay.xml");
    bool bMade = false;
    chXmlFile file;
    if (!loadOrMake(path, file, bMade)) return false;
    const chXmlElement root = file.FindChildElement("relay");
    out.nPort = std::clamp(std::atoi(root.GetOption("port", "27400").c_str()), 1, 65535);
    out.dTone = std::atof(root.GetOption("tone", "440").c_str());
    out.password = pswDecrypt(root.GetOption("password", ""));

    report.show("configuration", path + (bMade ? ", written with defaults" : ", read"));
    report.show("  starts counted in it", root.GetOption("starts", ""));
    report.require("  the same when it is read again",
                   chXmlFile(path).ExportToText(true) == file.ExportToText(true));
    report.require("  password not in clear in the file",
                   !out.password.empty() && root.GetOption("password", "") != out.password);
    return true;
}
