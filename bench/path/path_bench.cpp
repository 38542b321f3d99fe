// Path texts against std::filesystem: a text in, a text out.
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <vdx/path.h>

#include "support/ratio.h"

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> ABSOLUTE_PATHS = {
    "/usr/local/share/app/resources/images/icon.png",
    "/var/lib/app/../../log/./app//service-3.log",
    "/home/user/project/build/debug/../../source/../include/vdx/path.h",
    "/etc/app.conf",
};
const std::vector<std::string> RELATIVE_PATHS = {
    "../config/settings.xml",
    "data/./2026/11/report.tar.gz",
    "image.png",
    "a/b/../../../shared/font.ttf",
};
const std::string BASE = "/opt/vendor/product/bin";

// One iteration takes every path of the list.
template <class Function>
void onAll(benchmark::State& state, const std::vector<std::string>& paths, Function function) {
    for (auto _ : state) {
        for (const std::string& path : paths)
            benchmark::DoNotOptimize(function(path));
    }
}

#define PATH_BENCH(name, paths, expression)                                      \
    void BM_##name(benchmark::State& state) {                                    \
        onAll(state, paths, [](const std::string& path) { return expression; }); \
    }                                                                            \
    BENCHMARK(BM_##name)

PATH_BENCH(Tidy_vdx, ABSOLUTE_PATHS, pathTidy(path));
PATH_BENCH(Tidy_std, ABSOLUTE_PATHS, fs::path(path).lexically_normal().string());
VDX_FIGURE("pathTidy", "BM_Tidy_vdx", {"BM_Tidy_std"}, 8.0);

PATH_BENCH(Absolute_vdx, RELATIVE_PATHS, pathGetAbsolutePath(path, BASE));
PATH_BENCH(Absolute_std, RELATIVE_PATHS, (fs::path(BASE) / path).lexically_normal().string());
VDX_FIGURE("pathGetAbsolutePath", "BM_Absolute_vdx", {"BM_Absolute_std"}, 8.0);

PATH_BENCH(FileName_vdx, ABSOLUTE_PATHS, pathGetFileName(path));
PATH_BENCH(FileName_std, ABSOLUTE_PATHS, fs::path(path).filename().string());
VDX_FIGURE("pathGetFileName", "BM_FileName_vdx", {"BM_FileName_std"}, 4.0);

PATH_BENCH(Extension_vdx, ABSOLUTE_PATHS, pathGetFileExtension(path));
PATH_BENCH(Extension_std, ABSOLUTE_PATHS, fs::path(path).extension().string());
VDX_FIGURE("pathGetFileExtension", "BM_Extension_vdx", {"BM_Extension_std"}, 4.0);

PATH_BENCH(FirstPart_vdx, ABSOLUTE_PATHS, pathGetFirstPart(path));
PATH_BENCH(FirstPart_std, ABSOLUTE_PATHS, fs::path(path).relative_path().begin()->string());
VDX_FIGURE("pathGetFirstPart", "BM_FirstPart_vdx", {"BM_FirstPart_std"}, 4.0);

PATH_BENCH(LastPart_vdx, ABSOLUTE_PATHS, pathGetLastPart(path));
PATH_BENCH(LastPart_std, ABSOLUTE_PATHS, (--fs::path(path).end())->string());
VDX_FIGURE("pathGetLastPart", "BM_LastPart_vdx", {"BM_LastPart_std"}, 4.0);

PATH_BENCH(RemoveLast_vdx, ABSOLUTE_PATHS, pathRemoveLastPart(path));
PATH_BENCH(RemoveLast_std, ABSOLUTE_PATHS, fs::path(path).parent_path().string());
VDX_FIGURE("pathRemoveLastPart", "BM_RemoveLast_vdx", {"BM_RemoveLast_std"}, 4.0);

PATH_BENCH(Append_vdx, RELATIVE_PATHS, pathAppend(BASE, path));
PATH_BENCH(Append_std, RELATIVE_PATHS, (fs::path(BASE) / path).string());
VDX_FIGURE("pathAppend", "BM_Append_vdx", {"BM_Append_std"}, 4.0);

PATH_BENCH(ReplaceName_vdx, ABSOLUTE_PATHS, pathReplaceFileName(path, "other.txt"));
PATH_BENCH(ReplaceName_std, ABSOLUTE_PATHS, fs::path(path).replace_filename("other.txt").string());
VDX_FIGURE("pathReplaceFileName", "BM_ReplaceName_vdx", {"BM_ReplaceName_std"}, 4.0);

PATH_BENCH(ReplaceExtern_vdx, ABSOLUTE_PATHS, pathReplaceExtern(path, ".bak"));
PATH_BENCH(ReplaceExtern_std, ABSOLUTE_PATHS, fs::path(path).replace_extension(".bak").string());
VDX_FIGURE("pathReplaceExtern", "BM_ReplaceExtern_vdx", {"BM_ReplaceExtern_std"}, 4.0);

}  // namespace
