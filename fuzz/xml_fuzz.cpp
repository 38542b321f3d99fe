// Arbitrary bytes as a document; what can be read is written, read again, copied and changed.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <vdx/xml.h>

namespace {

void require(bool bHolds) {
    if (!bHolds) std::abort();
}

// A text that cannot be read ends in a thrown pointer into it, and nothing else.
void throughTheDoors(const std::string& szText) {
    chXmlElement element;
    chXmlDeclaration declaration;
    chXmlAttributeObject body;
    for (chXmlObject* pHandle : {static_cast<chXmlObject*>(&element), static_cast<chXmlObject*>(&declaration),
                                 static_cast<chXmlObject*>(&body)}) {
        try {
            require(pHandle->parseContent(szText).size() <= szText.size());
        } catch (const char* szStopped) {
            require(szStopped >= szText.data() && szStopped <= szText.data() + szText.size());
        }
        pHandle->ExportToText(true);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string szText(reinterpret_cast<const char*>(pData), nSize);
    const chXmlDocument document = chXmlDocument::ParseDocument(szText);
    const std::string szCompact = document.ExportToText(true);
    require(document.clone().ExportToText(true) == szCompact);
    document.ExportToText(false);
    for (chXmlElement element = document.getChildElement(); element.hasData(); ++element) {
        for (const auto& [szName, szValue] : *element.GetAttributeData()) {
            require(*element.FindAttributeValue(szName) == szValue);
        }
        require(document[element.tagName()].hasData());
        element.SetOption("option", szText);
    }
    require(xmlXMLPhrase2Text(xmlText2XMLPhrase(szText)) == szText);
    throughTheDoors(szText);
    return 0;
}
