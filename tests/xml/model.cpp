// The model takes the rest of the text by value at each step, as the rules are worded.
#include "xml/model.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

namespace xmltest {

namespace {

constexpr const char* WHITE = " \t\r\n";
constexpr const char* NOT_IN_NAMES = " \t\r\n\"=<>";

struct Unreadable {};

using Attributes = std::vector<std::pair<std::string, std::string>>;

std::string trimLeft(const std::string& s) {
    const auto n = s.find_first_not_of(WHITE);
    return n == std::string::npos ? "" : s.substr(n);
}

std::string trimRight(const std::string& s) {
    return s.substr(0, s.find_last_not_of(WHITE) + 1);
}

std::string trim(const std::string& s) {
    return trimLeft(trimRight(s));
}

void replaceAll(std::string& s, const std::string& szFrom, const std::string& szTo) {
    for (std::size_t n = 0; (n = s.find(szFrom, n)) != std::string::npos; n += szTo.size()) {
        s.replace(n, szFrom.size(), szTo);
    }
}

std::string decode(std::string s) {
    replaceAll(s, "&apos;", "'");
    replaceAll(s, "&quot;", "\"");
    replaceAll(s, "&lt;", "<");
    replaceAll(s, "&gt;", ">");
    replaceAll(s, "&amp;", "&");
    return s;
}

std::string lower(std::string s) {
    for (char& c : s) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
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

std::string node(int nType, const std::string& szText, const std::string& szInside = "") {
    return "(" + std::to_string(nType) + " '" + szText + "'" + szInside + ")";
}

void checkName(const std::string& szName) {
    if (szName.empty() || szName.find_first_of(NOT_IN_NAMES) != std::string::npos) throw Unreadable();
}

// Name and attributes; the attributes come back as they stand in a dump.
std::string readBody(std::string szBody, std::string& szName) {
    szBody = trim(szBody);
    const auto nName = szBody.find_first_of(WHITE);
    szName = szBody.substr(0, nName);
    checkName(szName);
    szBody = nName == std::string::npos ? "" : trimLeft(szBody.substr(nName));
    Attributes attributes;
    while (!szBody.empty()) {
        const std::string szKey = trim(slice(szBody, "="));
        checkName(szKey);
        szBody = trimLeft(szBody);
        if (szBody.empty() || (szBody[0] != '"' && szBody[0] != '\'')) throw Unreadable();
        const std::string szQuote = szBody.substr(0, 1);
        szBody = szBody.substr(1);
        const std::string szValue = decode(slice(szBody, szQuote));
        const std::string szFolded = lower(decode(szKey));
        const auto same = std::find_if(attributes.begin(), attributes.end(),
                                       [&](const auto& pair) { return lower(pair.first) == szFolded; });
        if (same == attributes.end()) {
            attributes.emplace_back(decode(szKey), szValue);
        } else {
            same->second = szValue;
        }
        szBody = trimLeft(szBody);
    }
    std::string szDump;
    for (const auto& [szKey, szValue] : attributes)
        szDump += " [" + szKey + "|" + szValue + "]";
    return szDump;
}

std::string readContent(std::string szText, std::string& szDump);

std::string readElement(std::string szText, std::string& szDump) {
    const auto nClose = szText.find('>');
    const auto nEmpty = szText.find("/>");
    std::string szName;
    if (nEmpty < nClose) {
        const std::string szAttributes = readBody(slice(szText, "/>"), szName);
        szDump += node(4, szName, szAttributes);
        return trim(szText);
    }
    const std::string szAttributes = readBody(slice(szText, ">"), szName);
    std::string szInside;
    std::string szRest = readContent(szText, szInside);
    if (szRest.rfind("</", 0) != 0) throw Unreadable();
    szRest = szRest.substr(2);
    if (trim(slice(szRest, ">")) != szName) throw Unreadable();
    szDump += node(4, szName, szAttributes + szInside);
    return trim(szRest);
}

std::string readContent(std::string szText, std::string& szDump) {
    for (;;) {
        const auto nOpen = szText.find('<');
        if (nOpen == std::string::npos) return trimLeft(szText);
        const std::string szRun = trimRight(szText.substr(0, nOpen));
        if (!szRun.empty()) szDump += node(2, decode(szRun));
        szText = szText.substr(nOpen);
        if (szText.rfind("<!--", 0) == 0) {
            szText = szText.substr(4);
            szDump += node(1, trim(slice(szText, "-->")));
        } else if (szText.rfind("<![CDATA[", 0) == 0) {
            szText = szText.substr(9);
            szDump += node(5, trim(slice(szText, "]]>")));
        } else if (szText.rfind("<?", 0) == 0) {
            szText = szText.substr(2);
            std::string szName;
            const std::string szAttributes = readBody(slice(szText, "?>"), szName);
            szDump += node(3, szName, szAttributes);
        } else if (szText.rfind("</", 0) == 0) {
            return szText;
        } else {
            szText = readElement(szText.substr(1), szDump);
        }
    }
}

// Pieces of markup, whole and broken.
// clang-format off
constexpr const char* PIECES[] = {
    "<a>", "</a>", "<b x=\"1\">", "</b>", "<c/>", "<A>", "</A>", "< a >", "</ a >", "<a\tY='2' y=\"&lt;3\"/>",
    "<!-- note -->", "<!---->", "<!-->", "<![CDATA[ x<y ]]>", "<![CDATA[]]>", "<?xml version=\"1.0\"?>",
    "<? p ?>", "<d e = 'f' g=\"h'i\">", "</d>", "<a b>", "<a b=c>", "<a b=\"x>y\">", "<!x>", "<a/ >", "</a/>",
    "<>", "</>", " ", "\n  ", "\v", "text", " &amp;lt; ", "&apos;&bad;&quot", "&", "<", ">", "\"", "'", "=",
    "/", "?>", "-->", "]]>", "\xC3\xA9", "<b &amp;=\"1\" X=\"2\" x=\"3\"/>"};
// clang-format on

std::string oneOf(std::mt19937& random, std::initializer_list<const char*> choices) {
    return choices.begin()[random() % choices.size()];
}

// A readable element with content; deeper ones are smaller.
std::string randomElement(std::mt19937& random, int nDepth) {
    const std::string szName = oneOf(random, {"a", "list", "Item", "x-y:z"});
    std::string szText = "<" + szName;
    for (auto n = random() % 3; n > 0; --n) {
        szText += oneOf(random, {" id='1'", " ID = \"2\"", "\nn=\"&quot;&amp;\"", " k='a\"b'"});
    }
    if (nDepth == 0 || random() % 4 == 0) return szText + oneOf(random, {"/>", " />"});
    szText += oneOf(random, {">", " >"});
    for (auto n = random() % 4; n > 0; --n) {
        switch (random() % 5) {
            case 0:
                szText += oneOf(random, {" text ", "a &lt; b", "\n\t", "&amp;amp;"});
                break;
            case 1:
                szText += oneOf(random, {"<!-- c -->", "<![CDATA[ <&> ]]>", "<?p q='r'?>", "<!-- -- -->"});
                break;
            default:
                szText += randomElement(random, nDepth - 1);
        }
    }
    return szText + "</" + oneOf(random, {"", " "}) + szName + oneOf(random, {">", "\n>"});
}

}  // namespace

std::optional<std::string> modelDump(const std::string& szText) {
    try {
        std::string szDump;
        if (!readContent(szText, szDump).empty()) return {};
        return node(6, "", szDump);
    } catch (const Unreadable&) {
        return {};
    }
}

std::string randomDocument(std::mt19937& random) {
    if (random() % 3 == 0) {
        std::string szText;
        for (auto n = random() % 12; n > 0; --n)
            szText += PIECES[random() % std::size(PIECES)];
        return szText;
    }
    return oneOf(random, {"", "<?xml version=\"1.0\"?>\n", " lead "}) + randomElement(random, 4) +
           oneOf(random, {"", " \n", "<!-- end -->", "x"});
}

std::string mutated(std::string szText, std::mt19937& random) {
    if (szText.empty()) return szText;
    const auto nAt = random() % szText.size();
    switch (random() % 5) {
        case 0:
            szText.erase(nAt, 1 + random() % 3);
            break;
        case 1:
            szText.insert(nAt, PIECES[random() % std::size(PIECES)]);
            break;
        case 2:
            szText[nAt] = "<>/'\"=&;!-?[] \0A"[random() % 16];
            break;
        case 3:
            szText.insert(nAt, szText.substr(random() % szText.size(), random() % 9));
            break;
        default:
            szText.resize(nAt);
    }
    return szText;
}

}  // namespace xmltest
