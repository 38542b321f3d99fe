// The model takes the rest of the text by value at each step, as the rules are worded.
#include "xml/model.h"

#include <algorithm>
#include <utility>
#include <vector>

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

std::string lower(std::string s) {
    for (char& c : s)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
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

std::string node(int nType, const std::string& szText, const std::string& szInside = "") {
    return "(" + std::to_string(nType) + " '" + szText + "'" + szInside + ")";
}

std::string checked(const std::string& szName) {
    if (szName.empty() || szName.find_first_of(NOT_IN_NAMES) != std::string::npos) throw Unreadable();
    return szName;
}

// Name and attributes; the attributes come back as they stand in a dump.
std::string readBody(std::string szBody, std::string& szName) {
    szBody = trim(szBody);
    szName = checked(szBody.substr(0, szBody.find_first_of(WHITE)));
    szBody = trim(szBody.substr(szName.size()));
    std::vector<std::pair<std::string, std::string>> attributes;
    while (!szBody.empty()) {
        const std::string szKey = decode(checked(trim(slice(szBody, "="))));
        szBody = trim(szBody);
        const std::string szQuote = szBody.substr(0, 1);
        if (szQuote != "\"" && szQuote != "'") throw Unreadable();
        szBody = szBody.substr(1);
        auto same = std::find_if(attributes.begin(), attributes.end(),
                                 [&](const auto& pair) { return lower(pair.first) == lower(szKey); });
        if (same == attributes.end()) same = attributes.insert(same, {szKey, ""});
        same->second = decode(slice(szBody, szQuote));
        szBody = trim(szBody);
    }
    std::string szDump;
    for (const auto& [szKey, szValue] : attributes)
        szDump += " [" + szKey + "|" + szValue + "]";
    return szDump;
}

std::string readContent(std::string szText, std::string& szDump);

std::string readElement(std::string szText, std::string& szDump) {
    const bool bEmpty = szText.find("/>") < szText.find('>');
    std::string szName, szInside;
    const std::string szAttributes = readBody(slice(szText, bEmpty ? "/>" : ">"), szName);
    if (!bEmpty) {
        szText = readContent(szText, szInside);
        if (!skip(szText, "</") || trim(slice(szText, ">")) != szName) throw Unreadable();
    }
    szDump += node(4, szName, szAttributes + szInside);
    return trim(szText);
}

std::string readContent(std::string szText, std::string& szDump) {
    for (;;) {
        const auto nOpen = szText.find('<');
        if (nOpen == std::string::npos) return trim(szText);
        const std::string szRun = trimRight(szText.substr(0, nOpen));
        if (!szRun.empty()) szDump += node(2, decode(szRun));
        szText = szText.substr(nOpen);
        if (szText.starts_with("</")) return szText;
        if (skip(szText, "<!--")) {
            szDump += node(1, trim(slice(szText, "-->")));
        } else if (skip(szText, "<![CDATA[")) {
            szDump += node(5, trim(slice(szText, "]]>")));
        } else if (skip(szText, "<?")) {
            std::string szName;
            const std::string szAttributes = readBody(slice(szText, "?>"), szName);
            szDump += node(3, szName, szAttributes);
        } else {
            szText = readElement(szText.substr(1), szDump);
        }
    }
}

// What documents are made of, where a bar is with more of them in between; what makes them unreadable.
// clang-format off
constexpr const char* PIECES[] = {
    "<a>|</a>", "<list id='1' ID = \"2\">|</ list >", "< x-y:z\nn=\"&quot;&amp;\" k='a\"b' >|</x-y:z\n>",
    "<I &lt;&amp;=\"1\" X=\"2\" x=\"3\">|</I>", "<\xC3\xA9 >|</\xC3\xA9>", "<a\tY='2' y=\"&lt;3\"/>", " text ",
    "<!-- note -- -->", "<![CDATA[ <&amp;> ]]>", "<?xml version=\"1.0\" v='a>b'?>", "<? p ?>", "\n\t", "\v",
    "<!---->", "a &lt; b &amp;lt; &apos;&bad;&quot"};
constexpr const char* FAULTS[] = {
    "<b>", "</a>", "<!-->", "<!x>", "<![CDATA[", "<?", "<>", "</>", "<a b>", "<a b=c>", "<a b=\"x>y\">",
    "<a/ >", "/>", "-->", "]]>", "?>", " c='d'", "'", "\"", "=", "<", ">", "&amp;", "/", "!", "?", "]", "A"};
// clang-format on

std::string oneOf(std::mt19937& random, const auto& table) {
    return table[random() % std::size(table)];
}

}  // namespace

std::optional<std::string> modelDump(const std::string& szText) try {
    std::string szDump;
    if (!readContent(szText, szDump).empty()) return {};
    return node(6, "", szDump);
} catch (const Unreadable&) {
    return {};
}

std::string randomDocument(std::mt19937& random) {
    std::string szText;
    for (auto n = random() % 6; n > 0; --n) {
        std::string szPiece = oneOf(random, PIECES);
        const auto nBar = szPiece.find('|');
        if (nBar != std::string::npos) szPiece.replace(nBar, 1, randomDocument(random));
        szText += szPiece;
    }
    return szText;
}

std::string mutated(std::string szText, std::mt19937& random) {
    const auto nAt = random() % (szText.size() + 1);
    if (random() % 6 == 0) return szText.substr(0, nAt);
    szText.erase(nAt, random() % 3);
    const std::string szRun(random() % 300, "x &\n\0"[random() % 5]);
    return szText.insert(nAt, random() % 3 ? oneOf(random, FAULTS) : szRun);
}

}  // namespace xmltest
