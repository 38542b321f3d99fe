// The model takes the rest of the text by value at each step, as the rules are worded.
#include "xml/model.h"

#include <algorithm>
#include <utility>

namespace xmltest {

namespace {

constexpr const char* WHITE = " \t\r\n";
constexpr const char* NOT_IN_NAMES = " \t\r\n\"=<>";

struct Unreadable {};

std::string trimRight(const std::string& s) {
    return s.substr(0, s.find_last_not_of(WHITE) + 1);
}

std::string trim(const std::string& s) {
    return trimRight(s.substr(std::min(s.find_first_not_of(WHITE), s.size())));
}

std::string decode(std::string s) {
    static const std::pair<std::string, char> ENTITIES[] = {
        {"&apos;", '\''}, {"&quot;", '"'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}};
    for (const auto& [szEntity, c] : ENTITIES) {
        for (std::size_t n = 0; (n = s.find(szEntity, n)) != std::string::npos; ++n)
            s.replace(n, szEntity.size(), 1, c);
    }
    return s;
}

// The part before a delimiter; the text keeps what comes after it.
std::string slice(std::string& szText, const std::string& szDelimiter) {
    const auto n = szText.find(szDelimiter);
    if (n == std::string::npos) throw Unreadable();
    const std::string szPart = szText.substr(0, n);
    szText = szText.substr(n + szDelimiter.size());
    return szPart;
}

// Takes a mark away from the front of the text, if it is there.
bool skip(std::string& szText, const std::string& szMark) {
    if (!szText.starts_with(szMark)) return false;
    szText = szText.substr(szMark.size());
    return true;
}

std::string checked(const std::string& szName) {
    if (szName.empty() || szName.find_first_of(NOT_IN_NAMES) != std::string::npos) throw Unreadable();
    return szName;
}

// A new child with the name and the attributes that the inside of its tag tells.
chXmlObject readTag(chXmlObject& parent, xmlType nType, std::string szBody) {
    szBody = trim(szBody);
    const std::string szName = checked(szBody.substr(0, szBody.find_first_of(WHITE)));
    chXmlAttributeObject tag = parent.AddChildObject(nType, szName);
    for (szBody = trim(szBody.substr(szName.size())); !szBody.empty(); szBody = trim(szBody)) {
        const std::string szKey = decode(checked(trim(slice(szBody, "="))));
        const std::string szQuote = trim(szBody).substr(0, 1);
        if (szQuote != "\"" && szQuote != "'") throw Unreadable();
        slice(szBody, szQuote);
        tag.SetAttributeValue(szKey, decode(slice(szBody, szQuote)));
    }
    return tag;
}

std::string readContent(std::string szText, chXmlObject& parent);

std::string readElement(std::string szText, chXmlObject& parent) {
    const bool bEmpty = szText.find("/>") < szText.find('>');
    chXmlObject element = readTag(parent, xmlElement, slice(szText, bEmpty ? "/>" : ">"));
    if (!bEmpty) {
        szText = readContent(szText, element);
        if (!skip(szText, "</") || trim(slice(szText, ">")) != element.tagName()) throw Unreadable();
    }
    return trim(szText);
}

std::string readContent(std::string szText, chXmlObject& parent) {
    for (;;) {
        const auto nOpen = szText.find('<');
        if (nOpen == std::string::npos) return trim(szText);
        const std::string szRun = trimRight(szText.substr(0, nOpen));
        if (!szRun.empty()) parent.AddChildObject(xmlText, decode(szRun));
        szText = szText.substr(nOpen);
        if (szText.starts_with("</")) return szText;
        if (skip(szText, "<!--")) {
            parent.AddChildObject(xmlComment, trim(slice(szText, "-->")));
        } else if (skip(szText, "<![CDATA[")) {
            parent.AddChildObject(xmlCData, trim(slice(szText, "]]>")));
        } else if (skip(szText, "<?")) {
            readTag(parent, xmlDeclaration, slice(szText, "?>"));
        } else {
            szText = readElement(szText.substr(1), parent);
        }
    }
}

}  // namespace

std::string modelDump(const std::string& szText) try {
    chXmlDocument document;
    if (!readContent(szText, document).empty()) throw Unreadable();
    return dump(document);
} catch (const Unreadable&) {
    return dump(chXmlDocument());
}

}  // namespace xmltest
