// Wide copies and compares against the C library's own, which the library's names hide.
#include <dlfcn.h>
#include <cwchar>
#include <string>

#include <benchmark/benchmark.h>

#include <vdx/characters.h>

#include "support/ratio.h"

namespace {

using CopyFunction = wchar_t* (*)(wchar_t*, const wchar_t*);
using CountedCopyFunction = wchar_t* (*)(wchar_t*, const wchar_t*, std::size_t);
using CompareFunction = int (*)(const wchar_t*, const wchar_t*);
using CountedCompareFunction = int (*)(const wchar_t*, const wchar_t*, std::size_t);

template <class Function>
Function fromLibc(const char* szName) {
    static void* const s_hLibc = dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);
    void* pFound = s_hLibc ? dlsym(s_hLibc, szName) : nullptr;
    if (!pFound) abort();
    return reinterpret_cast<Function>(pFound);
}

struct Vdx {
    static wchar_t* copy(wchar_t* pTarget, const wchar_t* szSource) { return wcscpy(pTarget, szSource); }
    static wchar_t* append(wchar_t* pTarget, const wchar_t* szSource) { return wcscat(pTarget, szSource); }
    static int compare(const wchar_t* szLeft, const wchar_t* szRight) { return wcscmp(szLeft, szRight); }
    static int compareNoCase(const wchar_t* szLeft, const wchar_t* szRight) {
        return wcscasecmp(szLeft, szRight);
    }
    static wchar_t* copyCounted(wchar_t* pTarget, const wchar_t* szSource, int nCount) {
        return wcsncpy(pTarget, szSource, nCount);
    }
    static int compareCounted(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
        return wcsncmp(szLeft, szRight, nCount);
    }
};

struct Libc {
    static inline const auto copy = fromLibc<CopyFunction>("wcscpy");
    static inline const auto append = fromLibc<CopyFunction>("wcscat");
    static inline const auto compare = fromLibc<CompareFunction>("wcscmp");
    static inline const auto compareNoCase = fromLibc<CompareFunction>("wcscasecmp");
    static inline const auto libcCopyCounted = fromLibc<CountedCopyFunction>("wcsncpy");
    static inline const auto libcCompareCounted = fromLibc<CountedCompareFunction>("wcsncmp");
    static wchar_t* copyCounted(wchar_t* pTarget, const wchar_t* szSource, int nCount) {
        return libcCopyCounted(pTarget, szSource, static_cast<std::size_t>(nCount));
    }
    static int compareCounted(const wchar_t* szLeft, const wchar_t* szRight, int nCount) {
        return libcCompareCounted(szLeft, szRight, static_cast<std::size_t>(nCount));
    }
};

// Two equal texts, not aligned alike, and room for one and a half.
struct Texts {
    explicit Texts(benchmark::State& state)
        : nLength(static_cast<std::size_t>(state.range(0))),
          left(nLength, L'x'),
          rightStore(nLength + 1, L'x'),
          target(nLength + 64, L'\0') {}
    const wchar_t* right() const { return rightStore.c_str() + 1; }
    int count() const { return static_cast<int>(nLength); }

    std::size_t nLength;
    std::wstring left, rightStore, target;
};

template <class Library>
void BM_Copy(benchmark::State& state) {
    Texts texts(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::copy(texts.target.data(), texts.left.c_str()));
        benchmark::ClobberMemory();
    }
}

template <class Library>
void BM_Append(benchmark::State& state) {
    Texts texts(state);
    for (auto _ : state) {
        texts.target[0] = L'a';
        texts.target[1] = L'\0';
        benchmark::DoNotOptimize(Library::append(texts.target.data(), texts.left.c_str()));
        benchmark::ClobberMemory();
    }
}

template <class Library>
void BM_CopyCounted(benchmark::State& state) {
    Texts texts(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Library::copyCounted(texts.target.data(), texts.left.c_str(), texts.count()));
        benchmark::ClobberMemory();
    }
}

template <class Library>
void BM_Compare(benchmark::State& state) {
    const Texts texts(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::compare(texts.left.c_str(), texts.right()));
        benchmark::ClobberMemory();
    }
}

template <class Library>
void BM_CompareCounted(benchmark::State& state) {
    const Texts texts(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::compareCounted(texts.left.c_str(), texts.right(), texts.count()));
        benchmark::ClobberMemory();
    }
}

template <class Library>
void BM_CompareNoCase(benchmark::State& state) {
    const Texts texts(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::compareNoCase(texts.left.c_str(), texts.right()));
        benchmark::ClobberMemory();
    }
}

#define WIDE_BENCH(name)                                                                            \
    BENCHMARK(BM_##name<Vdx>)->Arg(8)->Arg(64)->Arg(4096);                                          \
    BENCHMARK(BM_##name<Libc>)->Arg(8)->Arg(64)->Arg(4096);                                         \
    VDX_FIGURE("Wide " #name ", 8 units", "BM_" #name "<Vdx>/8", {"BM_" #name "<Libc>/8"}, 0.8);    \
    VDX_FIGURE("Wide " #name ", 64 units", "BM_" #name "<Vdx>/64", {"BM_" #name "<Libc>/64"}, 0.8); \
    VDX_FIGURE("Wide " #name ", 4096 units", "BM_" #name "<Vdx>/4096", {"BM_" #name "<Libc>/4096"}, 0.8)

WIDE_BENCH(Copy);
WIDE_BENCH(Append);
WIDE_BENCH(CopyCounted);
WIDE_BENCH(Compare);
WIDE_BENCH(CompareCounted);
WIDE_BENCH(CompareNoCase);

}  // namespace
