// Finding files, matching names and copying against the C and C++ libraries.
#include <fnmatch.h>
#include <fts.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vdx/find_file.h>
#include <vdx/path.h>

#include "support/ratio.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

// --- A walk over 50,000 files in 500 directories; one file in five is wanted -------

const std::string& tree() {
    static const TempDir s_scratch;
    static const bool s_bMade = [] {
        const char* const extensions[] = {".txt", ".log", ".cpp", ".h", ".dat"};
        for (int d = 0; d < 500; ++d) {
            const std::string dir =
                s_scratch.path() + "/group" + std::to_string(d % 10) + "/set" + std::to_string(d);
            fs::create_directories(dir);
            for (int f = 0; f < 100; ++f) {
                std::ofstream(dir + "/file-" + std::to_string(f) + extensions[f % 5]);
            }
        }
        return true;
    }();
    static_cast<void>(s_bMade);
    return s_scratch.path();
}

constexpr std::size_t WANTED = 10000;

void check(benchmark::State& state, const std::list<std::string>& found) {
    if (found.size() != WANTED) state.SkipWithError("wrong number of files");
}

void BM_Find_vdx(benchmark::State& state) {
    const std::string& root = tree();
    for (auto _ : state)
        check(state, vdxFindFile(root.c_str(), "*.txt", true));
}

void BM_Find_std(benchmark::State& state) {
    const std::string& root = tree();
    for (auto _ : state) {
        std::list<std::string> found;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
            if (entry.is_directory()) continue;
            const std::string name = entry.path().filename().string();
            if (fnmatch("*.txt", name.c_str(), 0) == 0) found.push_back(entry.path().string());
        }
        check(state, found);
    }
}

// Without asking for the status of files, its quickest way.
void BM_Find_fts(benchmark::State& state) {
    const std::string& root = tree();
    for (auto _ : state) {
        std::list<std::string> found;
        char* roots[] = {const_cast<char*>(root.c_str()), nullptr};
        FTS* pWalk = fts_open(roots, FTS_PHYSICAL | FTS_NOSTAT | FTS_NOCHDIR, nullptr);
        while (const FTSENT* pEntry = fts_read(pWalk)) {
            if (pEntry->fts_info == FTS_D || pEntry->fts_info == FTS_DP) continue;
            if (fnmatch("*.txt", pEntry->fts_name, 0) == 0)
                found.emplace_back(pEntry->fts_path, pEntry->fts_pathlen);
        }
        fts_close(pWalk);
        check(state, found);
    }
}

BENCHMARK(BM_Find_vdx)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Find_std)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Find_fts)->Unit(benchmark::kMillisecond);
VDX_FIGURE("vdxFindFile, 50,000 files, std::filesystem + fnmatch", "BM_Find_vdx", {"BM_Find_std"}, 2.0);
VDX_FIGURE("vdxFindFile, 50,000 files, fts + fnmatch", "BM_Find_vdx", {"BM_Find_fts"}, 1.1);

// --- One name, one pattern ----------------------------------------------------------

const std::vector<std::string> NAMES = {"service-3.log", "a_rather_long_file_name_of_a_report.txt", "x.c",
                                        "IMG_20261122_103000.jpeg", "Makefile"};

void matchVdx(benchmark::State& state, const char* szPattern) {
    const chFileFilter filter(szPattern);
    for (auto _ : state) {
        for (const std::string& name : NAMES)
            benchmark::DoNotOptimize(filter.IsAcceptFileName(name));
    }
}

void matchLibc(benchmark::State& state, const char* szPattern) {
    for (auto _ : state) {
        for (const std::string& name : NAMES)
            benchmark::DoNotOptimize(fnmatch(szPattern, name.c_str(), 0));
    }
}

#define MATCH_BENCH(name, pattern)               \
    BENCHMARK_CAPTURE(matchVdx, name, pattern);  \
    BENCHMARK_CAPTURE(matchLibc, name, pattern); \
    VDX_FIGURE("Wildcard " pattern, "matchVdx/" #name, {"matchLibc/" #name}, 2.0)

MATCH_BENCH(suffix, "*.txt");
MATCH_BENCH(prefix, "IMG_*");
MATCH_BENCH(middle, "*name*report*");
MATCH_BENCH(question, "?*-?.l?g");
MATCH_BENCH(all, "*");

// --- A copy of 256 MB ------------------------------------------------------------------

const std::string& bigFile() {
    static const TempDir s_scratch;
    static const std::string s_path = [] {
        std::string path = s_scratch.path() + "/from";
        std::ofstream file(path, std::ios::binary);
        std::string block(1U << 20U, '\0');
        for (std::size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<char>(i * 31);
        for (int i = 0; i < 256; ++i)
            file << block;
        return path;
    }();
    return s_path;
}

// The target is there before each copy, so that both overwrite.
void BM_Copy_vdx(benchmark::State& state) {
    const std::string& from = bigFile();
    const std::string to = from + ".copy";
    for (auto _ : state) {
        if (!pathCopyFile(from, to)) state.SkipWithError("not copied");
    }
}

void BM_Copy_std(benchmark::State& state) {
    const std::string& from = bigFile();
    const std::string to = from + ".copy";
    for (auto _ : state) {
        if (!fs::copy_file(from, to, fs::copy_options::overwrite_existing)) state.SkipWithError("not copied");
    }
}

BENCHMARK(BM_Copy_vdx)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_Copy_std)->Unit(benchmark::kMillisecond)->Iterations(2);
VDX_FIGURE("pathCopyFile, 256 MB", "BM_Copy_vdx/iterations:2", {"BM_Copy_std/iterations:2"}, 0.95);

}  // namespace
