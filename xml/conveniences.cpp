// Elements named by an attribute; typed arguments as text.
#include <charconv>
#include <string_view>

#include <vdx/xml.h>

namespace {

constexpr const char* SOAP_NAME = "name";
constexpr std::string_view WHITE_SPACE = " \t\r\n";

std::string trimmed(const std::string& szText) {
    const std::size_t nBegin = szText.find_first_not_of(WHITE_SPACE);
    if (nBegin == std::string::npos) return {};
    return szText.substr(nBegin, szText.find_last_not_of(WHITE_SPACE) - nBegin + 1);
}

template <class Number>
std::string decimal(Number nValue) {
    char buffer[64];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, nValue).ptr);
}

}  // namespace

bool setSoapName(chXmlElement& element, const std::string& szName) {
    return element.SetAttributeValue(SOAP_NAME, trimmed(szName));
}

chXmlElement getChildSoapByName(const chXmlElement& parent, const std::string& szName) {
    return parent.FindChildAttribute(SOAP_NAME, trimmed(szName));
}

chXmlElement getChildSoap(const chXmlElement& parent) {
    return parent.getChildElement();
}

void chVarArgs::add(bool bValue) {
    m_values.emplace_back(bValue ? "true" : "false");
}

void chVarArgs::add(double dValue) {
    m_values.push_back(decimal(dValue));
}

void chVarArgs::add(const char* szValue) {
    m_values.emplace_back(szValue ? szValue : "");
}

void chVarArgs::add(const std::string& szValue) {
    m_values.push_back(szValue);
}

void chVarArgs::addInteger(bool bNegative, unsigned long long nBits) {
    m_values.push_back(bNegative ? decimal(static_cast<long long>(nBits)) : decimal(nBits));
}

std::size_t byteof(const chVarArgs& args) {
    std::size_t nBytes = 0;
    for (const std::string& szValue : args.values())
        nBytes += szValue.size();
    return nBytes;
}

std::string print(const chVarArgs& args) {
    std::string szText;
    szText.reserve(byteof(args));
    for (const std::string& szValue : args.values())
        szText += szValue;
    return szText;
}
