// Arbitrary bytes as a document, beside the slow model; what can be read is written, read
// again, copied and changed.
#include <vdx/xml.h>

#include "fuzz/fuzz.h"
#include "xml/model.h"

namespace {

// A text that cannot be read ends in a thrown pointer into it, and nothing else.
void throughTheDoors(const std::string& szText) {
    chXmlObject content;
    chXmlElement element;
    chXmlDeclaration declaration;
    chXmlAttributeObject body;
    for (chXmlObject* pHandle :
         std::initializer_list<chXmlObject*>{&content, &element, &declaration, &body}) {
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
        while (moved.GetAttributeCount() > 0) {
            const std::string szName = moved.GetAttributeData()->begin()->first;
            moved.FastRemoveAttributeValue(moved.FindAttributeValue(szName));
        }
        require(moved.ExportAttributes().empty());
    }
    require(!element.hasChildren());
    element.AddChildObject(other);
}

void askAndChange(const std::string& szText) {
    const chXmlDocument document = chXmlDocument::ParseDocument(szText);
    if (szText.size() <= 2000)  // The model recurses and copies the rest of the text at each step.
        require(xmltest::dump(document) == xmltest::modelDump(szText).value_or("(6 '')"));
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

void fuzz(const Bytes& input) {
    const std::string szText = textOf(input);
    const std::uint32_t nBefore = xmltest::nodesAlive();
    askAndChange(szText);
    throughTheDoors(szText);
    require(xmlXMLPhrase2Text(xmlText2XMLPhrase(szText)) == szText);
    require(xmltest::nodesAlive() == nBefore);
}
