// Wide strings under the names of the C library.
#include <vdx/characters.h>

namespace {

// As unsigned numbers, so that it wraps instead of overflowing.
int difference(wchar_t left, wchar_t right) {
    return static_cast<int>(static_cast<std::uint32_t>(left) - static_cast<std::uint32_t>(right));
}

bool equalFolded(wchar_t left, wchar_t right) {
    return left == right || chUpper(static_cast<int>(left)) == chUpper(static_cast<int>(right));
}

}  // namespace

// The exception specification is whatever the C library's own declaration says.
extern "C" {

VDX_API wchar_t* wcscpy(wchar_t* pTarget,
                        const wchar_t* szSource) noexcept(noexcept(wcscpy(pTarget, szSource))) {
    wchar_t* pNext = pTarget;
    while ((*pNext++ = *szSource++) != 0)
        continue;
    return pTarget;
}

VDX_API wchar_t* wcscat(wchar_t* pTarget,
                        const wchar_t* szSource) noexcept(noexcept(wcscat(pTarget, szSource))) {
    wcscpy(pTarget + std::wcslen(pTarget), szSource);
    return pTarget;
}

VDX_API int wcscmp(const wchar_t* szLeft,
                   const wchar_t* szRight) noexcept(noexcept(wcscmp(szLeft, szRight))) {
    while (*szLeft != 0 && *szLeft == *szRight) {
        ++szLeft;
        ++szRight;
    }
    return difference(*szLeft, *szRight);
}

VDX_API int wcscasecmp(const wchar_t* szLeft,
                       const wchar_t* szRight) noexcept(noexcept(wcscasecmp(szLeft, szRight))) {
    while (*szLeft != 0 && equalFolded(*szLeft, *szRight)) {
        ++szLeft;
        ++szRight;
    }
    return difference(*szLeft, *szRight);
}

}  // extern "C"

wchar_t* wcsncpy(wchar_t* pTarget, const wchar_t* szSource, int nCount) {
    wchar_t* pNext = pTarget;
    for (; nCount > 0 && *szSource != 0; --nCount)
        *pNext++ = *szSource++;
    *pNext = 0;
    return pTarget;
}

int wcsncmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
    for (; nCount > 1 && *szLeft != 0 && *szLeft == *szRight; --nCount) {
        ++szLeft;
        ++szRight;
    }
    return difference(*szLeft, *szRight);
}

int wcsncasecmp(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
    for (; nCount > 1 && *szLeft != 0 && equalFolded(*szLeft, *szRight); --nCount) {
        ++szLeft;
        ++szRight;
    }
    return difference(*szLeft, *szRight);
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
