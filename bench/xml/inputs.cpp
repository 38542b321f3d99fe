// Generated texts and the public file.
#include "inputs.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

namespace xmlbench {

namespace {

constexpr const char* REGISTRY_FILE = "/usr/share/vulkan/registry/vk.xml";
constexpr std::size_t INPUT_SIZE = 4U << 20;

std::string attributeHeavy() {
    std::mt19937 random(1);
    std::string szText = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<catalog>\n";
    char line[400];
    while (szText.size() < INPUT_SIZE) {
        const auto n = static_cast<unsigned int>(random() % 1000000);
        std::snprintf(
            line, sizeof line,
            "  <item id=\"%06u\" sku=\"AB-%04u-XY\" price=\"%u.%02u\" currency=\"EUR\" stock=\"%u\" "
            "warehouse=\"north-%u\" maker=\"Smith &amp; Sons, Example Road %u\"/>\n",
            n, n % 9999, n % 700, n % 100, n % 57, n % 9, n % 300);
        szText += line;
    }
    return szText + "</catalog>\n";
}

std::string textHeavy() {
    static constexpr const char* WORDS[] = {"water",  "under", "the",  "bridge",  "of",
                                            "stone",  "and",   "time", "carries", "&quot;everything&quot;",
                                            "slowly", "to",    "sea",  "R&amp;D"};
    std::mt19937 random(2);
    std::string szText = "<?xml version=\"1.0\"?>\n<book>\n";
    while (szText.size() < INPUT_SIZE) {
        szText += "  <chapter>\n    <title>On bridges</title>\n";
        for (int i = 0; i < 8; ++i) {
            szText += "    <p>It began";
            for (std::size_t n = 40 + random() % 120; n > 0; --n)
                (szText += ' ') += WORDS[random() % std::size(WORDS)];
            szText += ".</p>\n";
        }
        szText += "  </chapter>\n";
    }
    return szText + "</book>\n";
}

std::string registry() {
    std::ifstream file(REGISTRY_FILE, std::ios::binary);
    std::string szText{std::istreambuf_iterator<char>(file), {}};
    if (szText.empty()) {
        std::fprintf(stderr, "%s is missing: install libvulkan-dev\n", REGISTRY_FILE);
        std::exit(1);
    }
    return szText;
}

std::vector<std::string> numbered(const char* szStem, int nCount) {
    std::vector<std::string> names;
    for (int i = 0; i < nCount; ++i)
        names.push_back(szStem + std::to_string(10 + i));
    return names;
}

}  // namespace

const std::string& input(int nIndex) {
    static const std::string s_texts[INPUTS] = {attributeHeavy(), textHeavy(), registry()};
    return s_texts[nIndex];
}

const std::vector<std::string>& smallDocuments() {
    static const std::vector<std::string> s_documents = [] {
        std::vector<std::string> documents;
        for (int i = 0; i < 64; ++i) {
            documents.push_back("<?xml version=\"1.0\"?>\n<request id=\"" + std::to_string(1000 + i) +
                                "\" reply=\"yes\">\n  <from>client-" + std::to_string(i) +
                                "</from>\n  <operation name=\"transfer\" priority=\"" +
                                std::to_string(i % 7) +
                                "\">\n    <amount currency=\"EUR\">12.50</amount>\n    <note>for "
                                "&quot;everything&quot; and more</note>\n"
                                "  </operation>\n  <sent at=\"2024-05-17T10:00:00Z\"/>\n</request>\n");
        }
        return documents;
    }();
    return s_documents;
}

const std::vector<std::string>& childNames() {
    static const std::vector<std::string> s_names = numbered("setting", CHILDREN);
    return s_names;
}

const std::vector<std::string>& attributeNames() {
    static const std::vector<std::string> s_names = numbered("attr", ATTRIBUTES);
    return s_names;
}

const std::string& lookupDocument() {
    static const std::string s_text = [] {
        std::string szText = "<root>";
        for (const std::string& szChild : childNames()) {
            szText += "<" + szChild;
            for (const std::string& szName : attributeNames())
                szText += " " + szName + "=\"value\"";
            szText += "/>";
        }
        return szText + "</root>";
    }();
    return s_text;
}

}  // namespace xmlbench
