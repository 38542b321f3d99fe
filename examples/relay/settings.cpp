// The relay's configuration, kept as XML.
#include "settings.h"

#include <cstdlib>

#include <vdx/vdx.h>

namespace {

// A document with the default settings, saved so that no crash leaves half of it.
bool writeDefaults(const std::string& path) {
    chXmlFile file;
    file.AddChildObject(xmlComment, "The relay's configuration; the password is stored encrypted.");
    chXmlElement root = file.AddChildElement("relay");
    root.SetAttributeValue("version", __szVersion_VER_VDX_LIB);
    // Options are added in front: the last one written stands first.
    root.SetOption("password", pswEncrypt("a tone & a <word>"));
    root.SetOption("tone", "440");
    root.SetOption("port", "27400");
    return file.SaveToFile(path);
}

}  // namespace

bool loadSettings(const Folders& folders, Settings& out, Report& report) {
    const std::string path = pathAppend(folders.data, "relay.xml");
    const bool bFirstRun = !pathFileExist(path);
    if (bFirstRun && !writeDefaults(path)) {
        vdxWarningMessage(__FILE__, __LINE__, " cannot write %s: %s", path.c_str(),
                          vdxTransLastError().c_str());
        return false;
    }
    chXmlFile file;
    if (!file.LoadFromFile(path)) {
        vdxWarningMessage(__FILE__, __LINE__, " %s is no configuration", path.c_str());
        return false;
    }
    const chXmlElement root = file.FindChildElement("relay");
    out.nPort = std::atoi(root.GetOption("port", "27400").c_str());
    out.dTone = std::atof(root.GetOption("tone", "440").c_str());
    out.password = pswDecrypt(root.GetOption("password", ""));

    report.show("configuration", path + (bFirstRun ? ", written with defaults" : ", read"));
    report.require(
        "  read again after writing it out",
        chXmlDocument::ParseDocument(file.ExportToText(true)).ExportToText(true) == file.ExportToText(true));
    report.require("  password not in clear in the file",
                   !out.password.empty() && root.GetOption("password", "") != out.password);
    return true;
}
