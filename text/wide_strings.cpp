// Wide strings under the names of the C library.
#include <vdx/characters.h>

#include <cstring>

#include "text/wide_kernels.h"

namespace {

bool equalFolded(wchar_t left, wchar_t right) {
    return left == right || chUpper(static_cast<int>(left)) == chUpper(static_cast<int>(right));
}

}  // namespace

// Whether these are noexcept is what the C library's own declarations say.
extern "C" {

VDX_API wchar_t* wcscpy(wchar_t* pTarget,
                        const wchar_t* szSource) noexcept(noexcept(wcscpy(pTarget, szSource))) {
    vdx::wideKernels().pCopy(pTarget, szSource);
    return pTarget;
}

VDX_API wchar_t* wcscat(wchar_t* pTarget,
                        const wchar_t* szSource) noexcept(noexcept(wcscat(pTarget, szSource))) {
    vdx::wideKernels().pCopy(pTarget + std::wcslen(pTarget), szSource);
    return pTarget;
}

VDX_API int wcscmp(const wchar_t* szLeft,
                   const wchar_t* szRight) noexcept(noexcept(wcscmp(szLeft, szRight))) {
    return vdx::wideKernels().pCompare(szLeft, szRight);
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
    std::memcpy(pTarget, szSource, nLength * sizeof(wchar_t));
    pTarget[nLength] = 0;
    return pTarget;
}

int wcsncmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
    const std::size_t nLast = nCount > 1 ? static_cast<std::size_t>(nCount) - 1 : 0;
    return vdx::wideKernels().pCompareUpTo(szLeft, szRight, nLast);
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
