// How far two wide texts agree.
#pragma once

#include <cstddef>
#include <span>

namespace vdx {

// The first place where the units differ or both texts end; nLast if there is none
// before it. Reads no unit behind that place but what lies in the same page.
using wideAgreement = std::size_t (*)(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast);

std::size_t wideAgreementPortable(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast);

#if defined(__x86_64__)
std::size_t wideAgreementAvx2(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast);
#endif

// All of them that this processor runs, the best last.
std::span<const wideAgreement> getAllWideAgreements();

// The best of them.
std::size_t findWideDisagreement(const wchar_t* szLeft, const wchar_t* szRight, std::size_t nLast);

}  // namespace vdx
