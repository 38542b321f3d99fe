// Documents that tell which version they are, and whether they are whole.
#pragma once

#include <string>

#include <vdx/xml.h>

namespace xmltest {

inline chXmlDocument versionDocument(int nVersion) {
    chXmlDocument document;
    chXmlElement root = document.AddChildElement("versions");
    // Versions differ in length: mixed ones do not read.
    for (int i = 0; i < 20 + nVersion % 300; ++i)
        root.AddChildElement("v").AddChildObject(xmlText, std::to_string(nVersion));
    return document;
}

// The version of a whole document, else -1.
inline int versionOf(const chXmlDocument& document) {
    const chXmlElement root = document.getChildElement();
    const int nVersion = std::atoi(root.GetOption("v", "-1").c_str());
    return nVersion >= 0 && document.ExportToText(true) == versionDocument(nVersion).ExportToText(true)
               ? nVersion
               : -1;
}

}  // namespace xmltest
