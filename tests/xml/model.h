// A second reading of the parser's rules, made for clarity alone, and dumps of trees to compare it with.
#pragma once

#include <cstdint>
#include <string>

#include <vdx/xml.h>

namespace xmltest {

// Everything that a tree holds, without going through the writer. For shallow trees.
inline std::string dump(const chXmlObject& node) {
    if (!node.hasData()) return "()";
    std::string szDump = "(" + std::to_string(node.type()) + " '" + node.tagName() + "'";
    for (const auto& [szName, szValue] : *chXmlAttributeObject(node).GetAttributeData())
        szDump += " [" + szName + "|" + szValue + "]";
    for (chXmlObject child = node.getChild(); child.hasData(); ++child)
        szDump += dump(child);
    return szDump + ")";
}

// The nodes of which the leak report would tell now.
inline std::uint32_t nodesAlive() {
    const auto counts = dymicAllocHelper::getInstance()->getCounts();
    return counts.nAlloc - counts.nFree;
}

// The dump of a text's document; of an empty one if the text cannot be read.
std::string modelDump(const std::string& szText);

}  // namespace xmltest
