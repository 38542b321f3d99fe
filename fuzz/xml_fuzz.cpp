// Arbitrary bytes as a document, beside the slow model; what can be read is written, read
// again, copied and changed.
#include <vdx/xml.h>

#include "fuzz/fuzz.h"
#include "xml/entities.h"
#include "xml/model.h"
#include "xml/scan.h"

namespace {

// A text that cannot be read ends in a thrown pointer into it, and nothing else.
void throughTheDoors(const std::string& szText) {
    chXmlObject content;
    chXmlElement element;
    chXmlDeclaration declaration;
    chXmlAttributeObject body;
    for (chXmlObject* pHandle :
         std::initializer_list<chXmlObject*>{&content, &element, &declaration, &body}) {
        std::string szAttributes[2];
        for (std::string& szNow : szAttributes) {  // The second time into what is there already.
            try {
                require(pHandle->parseContent(szText).size() <= szText.size());
            } catch (const char* szStopped) {
                require(szStopped >= szText.data() && szStopped <= szText.data() + szText.size());
            }
            szNow = pHandle->ExportAttributes();
        }
        require(szAttributes[0] == szAttributes[1]);
        require(pHandle->clone().ExportElement(true) == pHandle->ExportElement(true));
    }
}

// The scans from each of the first places, and the escaping: by whole blocks and by single bytes.
void compareForms(const std::string& szText) {
    const char* pFrom = szText.data();
    const char* const pEnd = pFrom + szText.size();
    for (const char* p = pFrom; p != pEnd && p - pFrom < 100; ++p) {
        bool bName[2] = {}, bValue[2] = {};
        require(vdx::findNameEndPortable(p, pEnd, bName[0]) == vdx::findNameEnd(p, pEnd, bName[1]));
        require(vdx::findEitherPortable(p, pEnd, '"', '>', bValue[0]) ==
                vdx::findEither(p, pEnd, '"', '>', bValue[1]));
        require(bName[0] == bName[1] && bValue[0] == bValue[1]);
        require(vdx::skipWhitePortable(p, pEnd) == vdx::skipWhite(p, pEnd));
    }
    std::string szEscaped(6 * szText.size() + vdx::ESCAPE_ROOM, '.');
    char* pTo = szEscaped.data();
    vdx::copyEscapedPortable(pFrom, pEnd, pTo, pTo + szEscaped.size());
    szEscaped.resize(static_cast<std::size_t>(pTo - szEscaped.data()));
    require(szEscaped == xmlText2XMLPhrase(szText) && szText == xmlXMLPhrase2Text(szEscaped));
    require(szEscaped == chXmlObject(xmlText, szText).ExportToText(true));
}

// Except for elements with names that look like another tag, what is written reads back as the same tree.
void readWhatIsWritten(const chXmlDocument& document, const std::string& szTree) {
    for (const char* szOdd : {"/'", "(4 '/", "(4 '?", "(4 '!", "(3 '?"})
        if (szTree.find(szOdd) != szTree.npos) return;
    require(xmltest::dump(chXmlDocument::ParseDocument(document.ExportToText(true))) == szTree);
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
    if (szText.size() <= 2000) {  // The model recurses and copies the rest of the text at each step.
        const std::string szTree = xmltest::modelDump(szText);
        require(xmltest::dump(document) == szTree);
        readWhatIsWritten(document, szTree);
    }
    require(document.clone().ExportToText(true) == document.ExportToText(true));
    document.ExportToText(false);
    for (chXmlElement element = document.getChildElement(); element.hasData(); ++element) {
        for (const auto& [szName, szValue] : *element.GetAttributeData())
            require(*element.FindAttributeValue(szName) == szValue);
        require(document[element.tagName()].hasData());
        for (const std::size_t nSize : {30U, 200U, 10U}) {
            const std::string szOption = szText.substr(0, nSize);
            element.SetOption("option", szOption);
            require(element.GetOption("OPTION", "") == szOption);
        }
        takeApart(element);
    }
}

}  // namespace

void fuzz(const Bytes& input) {
    const std::string szText = textOf(input);
    const std::uint32_t nBefore = xmltest::nodesAlive();
    askAndChange(szText);
    throughTheDoors(szText);
    compareForms(szText);
    require(xmltest::nodesAlive() == nBefore);
}
