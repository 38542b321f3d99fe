// Whole documents from text.
#include <algorithm>
#include <cstring>

#include <vdx/xml.h>

#include "xml/document.h"
#include "xml/parser.h"
#include "xml/records.h"

namespace {

// What the last failed reading of this thread stopped at: for a debugger and for tests.
thread_local char t_szStopped[40];

void keepStopped(std::string_view szRest) {
    const std::size_t nSize = std::min(szRest.size(), sizeof t_szStopped - 1);
    std::memcpy(t_szStopped, szRest.data(), nSize);
    t_szStopped[nSize] = 0;
}

// Reads all of a text below a node that was just made and is not reported yet. What was
// read of a bad one stays there.
bool readAll(std::string_view szText, xmlRecords::node* pDocument) {
    vdx::XmlParser parser(szText, 1);
    const bool bRead = parser.readContent(pDocument);
    if (bRead && parser.rest().empty()) return true;
    keepStopped(bRead ? parser.rest()
                      : szText.substr(static_cast<std::size_t>(parser.stopped() - szText.data())));
    return false;
}

}  // namespace

namespace vdx {

const char* lastUnreadableText() {
    return t_szStopped;
}

}  // namespace vdx

chXmlDocument::chXmlDocument() : chXmlObject(xmlDocument, {}) {}

chXmlDocument::chXmlDocument(unreported_t)
    : chXmlObject(xmlRecords::makeUncounted(vdx::CellCaches::local(), xmlDocument, true, std::string_view()),
                  adopt_t{}) {}

chXmlDocument chXmlDocument::ParseDocument(const std::string& szText) {
    chXmlDocument document{unreported_t{}};
    if (!readAll(szText, document.m_pNode)) document = chXmlDocument();
    return document;
}

bool chXmlDocument::readText(const std::string& szText) {
    chXmlDocument document{unreported_t{}};
    const bool bRead = readAll(szText, document.m_pNode);
    *this = bRead ? document : chXmlDocument();
    return bRead;
}
