// Entities: decoding where an ampersand stands, escaping where one of five bytes stands.
#include "xml/entities.h"

#include <algorithm>

#include <vdx/xml.h>

#include "xml/scan.h"

namespace vdx {

namespace {

// The entity that a text begins with, or null.
const Entity* entityAt(std::string_view szText) {
    for (const Entity& entity : ENTITIES) {
        if (szText.starts_with(entity.text())) return &entity;
    }
    return nullptr;
}

}  // namespace

// One pass does what replacing the five in turn, "&amp;" last, would do: no
// replacement can complete another entity except the ampersand, which comes last.
std::string_view decodeEntities(std::string_view szPhrase, std::string& szResult) {
    szResult.resize(szPhrase.size());
    const char* p = szPhrase.data();
    const char* pEnd = p + szPhrase.size();
    char* pTo = szResult.data();
    while (const char* pAmpersand = findByte(p, pEnd, '&')) {
        pTo = std::copy(p, pAmpersand, pTo);
        const Entity* pEntity = entityAt(between(pAmpersand, pEnd));
        *pTo++ = pEntity ? pEntity->c : '&';
        p = pAmpersand + (pEntity ? pEntity->nSize : 1);
    }
    pTo = std::copy(p, pEnd, pTo);
    szResult.resize(static_cast<std::size_t>(pTo - szResult.data()));
    return szResult;
}

void copyEscapedPortable(const char*& pFrom, const char* pFromEnd, char*& pTo, const char* pToEnd) {
    while (pFrom != pFromEnd && pToEnd - pTo >= ESCAPE_ROOM)
        pTo = putEscaped(pTo, *pFrom++);
}

}  // namespace vdx

std::string xmlText2XMLPhrase(const std::string& szText) {
    std::string szResult;
    szResult.reserve(szText.size());
    char buffer[512];
    const char* pFrom = szText.data();
    const char* pEnd = pFrom + szText.size();
    while (pFrom != pEnd) {
        char* pTo = buffer;
        vdx::copyEscaped(pFrom, pEnd, pEnd, pTo, buffer + sizeof buffer);
        szResult.append(buffer, pTo);
    }
    return szResult;
}

std::string xmlXMLPhrase2Text(const std::string& szPhrase) {
    std::string szResult;
    szResult.reserve(szPhrase.size());
    vdx::decodeEntities(szPhrase, szResult);
    return szResult;
}
