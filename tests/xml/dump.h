// Exact dumps of trees.
#pragma once

#include <string>

#include <vdx/xml.h>

namespace xmltest {

inline std::string dumpOne(const chXmlAttributeObject& node) {
    std::string szDump = "(" + std::to_string(node.type()) + " '" + node.tagName() + "'";
    for (const auto& [szName, szValue] : *node.GetAttributeData())
        szDump += " [" + szName + "|" + szValue + "]";
    return szDump;
}

// Everything that a tree holds, without going through the writer. For shallow trees.
inline std::string dump(const chXmlObject& node) {
    if (!node.hasData()) return "()";
    std::string szDump = dumpOne(node);
    for (chXmlObject child = node.getChild(); child.hasData(); ++child)
        szDump += dump(child);
    return szDump + ")";
}

}  // namespace xmltest
