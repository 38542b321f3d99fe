// Wide strings under the names of the C library.
#include <vdx/characters.h>

#include <cstring>
#include <limits>

#include "text/wide_compare.h"

namespace {

wchar_t* copyUnits(wchar_t* pTarget, const wchar_t* pSource, std::size_t nUnits) {
    std::memcpy(pTarget, pSource, nUnits * sizeof(wchar_t));
    return pTarget;
}

bool equalFolded(wchar_t left, wchar_t right) {
    return left == right || chUpper(static_cast<int>(left)) == chUpper(static_cast<int>(right));
}

}  // namespace

// Whether these are noexcept is what the C library's own declarations say.
extern "C" {

VDX_API wchar_t* wcscpy(wchar_t* pTarget,
                        const wchar_t* szSource) noexcept(noexcept(wcscpy(pTarget, szSource))) {
    // Short texts are done before two calls would be.
    for (std::size_t i = 0; i < 12; ++i) {
        if ((pTarget[i] = szSource[i]) == 0) return pTarget;
    }
    return copyUnits(pTarget, szSource, std::wcslen(szSource) + 1);
}

VDX_API wchar_t* wcscat(wchar_t* pTarget,
                        const wchar_t* szSource) noexcept(noexcept(wcscat(pTarget, szSource))) {
    copyUnits(pTarget + std::wcslen(pTarget), szSource, std::wcslen(szSource) + 1);
    return pTarget;
}

VDX_API int wcscmp(const wchar_t* szLeft,
                   const wchar_t* szRight) noexcept(noexcept(wcscmp(szLeft, szRight))) {
    return vdx::compareWide(szLeft, szRight, std::numeric_limits<std::size_t>::max());
}

VDX_API int wcscasecmp(const wchar_t* szLeft,
                       const wchar_t* szRight) noexcept(noexcept(wcscasecmp(szLeft, szRight))) {
    while (*szLeft != 0 && equalFolded(*szLeft, *szRight)) {
        ++szLeft;
        ++szRight;
    }
    return vdx::wideDifference(*szLeft, *szRight);
}

}  // extern "C"

wchar_t* wcsncpy(wchar_t* pTarget, const wchar_t* szSource, int nCount) {
    const std::size_t nLength = nCount > 0 ? ::wcsnlen(szSource, static_cast<std::size_t>(nCount)) : 0;
    copyUnits(pTarget, szSource, nLength)[nLength] = 0;
    return pTarget;
}

int wcsncmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
    return vdx::compareWide(szLeft, szRight, nCount > 1 ? static_cast<std::size_t>(nCount) - 1 : 0);
}

int wcsncasecmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
    for (; nCount > 1 && *szLeft != 0 && equalFolded(*szLeft, *szRight); --nCount) {
        ++szLeft;
        ++szRight;
    }
    return vdx::wideDifference(*szLeft, *szRight);
}

int vswprintf(wchar_t*, int, const wchar_t*, va_list) {
    return -1;
}

int x_swscanf(const wchar_t*, const wchar_t*, ...) {
    return -1;
}

int wcstombs(char*, const wchar_t*, int) {
    return -1;
}

int mbstowcs(wchar_t*, const char*, int) {
    return -1;
}

int x_mbtowc(wchar_t*, const char*, int) {
    return -1;
}

std::int64_t x_wcstol(const wchar_t*, const wchar_t**, int) {
    return -1;
}

double x_wcstod(const wchar_t*, const wchar_t**) {
    return -1.0;
}
