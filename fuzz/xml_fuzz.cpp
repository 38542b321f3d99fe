// Arbitrary bytes as a document, beside the slow model; what can be read is written, read
// again, copied and changed.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <vdx/xml.h>

#include "xml/dump.h"
#include "xml/model.h"

namespace {

// The model recurses and copies the rest of the text at each step.
constexpr std::size_t MODEL_SIZE = 2000;

void require(bool bHolds) {
    if (!bHolds) std::abort();
}

std::uint32_t nodesAlive() {
    const auto counts = dymicAllocHelper::getInstance()->getCounts();
    return counts.nAlloc - counts.nFree;
}

// A text that cannot be read ends in a thrown pointer into it, and nothing else.
void throughTheDoors(const std::string& szText) {
    chXmlObject content;
    chXmlElement element;
    chXmlDeclaration declaration;
    chXmlAttributeObject body;
    for (chXmlObject* pHandle : {&content, static_cast<chXmlObject*>(&element),
                                 static_cast<chXmlObject*>(&declaration), static_cast<chXmlObject*>(&body)}) {
        for (int nTime = 0; nTime < 2; ++nTime) {  // The second time into what is there already.
            try {
                require(pHandle->parseContent(szText).size() <= szText.size());
            } catch (const char* szStopped) {
                require(szStopped >= szText.data() && szStopped <= szText.data() + szText.size());
            }
        }
        require(pHandle->clone().ExportElement(true) == pHandle->ExportElement(true));
    }
}

// Moves the children of an element elsewhere, one by one, and takes their attributes away.
void takeApart(chXmlElement element) {
    chXmlElement other("other");
    for (chXmlObject child = element.getChild(); child.hasData();) {
        chXmlAttributeObject moved = child;
        ++child;
        element.RemoveChildObject(moved);
        other.AddChildObject(moved);
        while (moved.GetAttributeCount() > 0)
            moved.FastRemoveAttributeValue(
                moved.FindAttributeValue(moved.GetAttributeData()->begin()->first));
        require(moved.ExportAttributes().empty());
    }
    require(!element.hasChildren());
    element.AddChildObject(other);
}

void askAndChange(const std::string& szText) {
    const chXmlDocument document = chXmlDocument::ParseDocument(szText);
    if (szText.size() <= MODEL_SIZE) {
        require(xmltest::dump(document) == xmltest::modelDump(szText).value_or("(6 '')"));
    }
    require(document.clone().ExportToText(true) == document.ExportToText(true));
    document.ExportToText(false);
    const std::string szShort = szText.substr(0, 30);
    for (chXmlElement element = document.getChildElement(); element.hasData(); ++element) {
        for (const auto& [szName, szValue] : *element.GetAttributeData())
            require(*element.FindAttributeValue(szName) == szValue);
        require(document[element.tagName()].hasData());
        element.SetOption("option", szShort);
        require(element.GetOption("OPTION", "") == szShort);
        takeApart(element);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string szText(reinterpret_cast<const char*>(pData), nSize);
    const std::uint32_t nBefore = nodesAlive();
    askAndChange(szText);
    throughTheDoors(szText);
    require(xmlXMLPhrase2Text(xmlText2XMLPhrase(szText)) == szText);
    require(nodesAlive() == nBefore);
    return 0;
}
