// Runs the benchmarks of a program and prints the table of its figures.
#include "support/ratio.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <benchmark/benchmark.h>

namespace vdx::bench {

namespace {

struct Peer {
    std::string name, time;
    double ratio;
};

struct Row {
    std::string title, ours;
    double goal;
    std::vector<Peer> peers;  // The best one first; never empty.
};

std::vector<Figure>& figures() {
    static std::vector<Figure> s_figures;
    return s_figures;
}

std::vector<Row>& measuredRows() {
    static std::vector<Row> s_rows;
    return s_rows;
}

// Keeps the best time of each benchmark, in nanoseconds.
class BestTimes : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            const std::string name = run.run_name.str();
            const bool bWall = name.find("real_time") != std::string::npos;
            const double seconds = (bWall ? run.real_accumulated_time : run.cpu_accumulated_time);
            const double time =
                seconds * 1e9 / static_cast<double>(std::max<benchmark::IterationCount>(run.iterations, 1));
            const auto [it, bNew] = m_best.emplace(name, time);
            if (!bNew) it->second = std::min(it->second, time);
        }
        if (std::getenv("VDX_BENCH_VERBOSE")) ConsoleReporter::ReportRuns(runs);
    }
    bool ReportContext(const Context& context) override {
        return !std::getenv("VDX_BENCH_VERBOSE") || ConsoleReporter::ReportContext(context);
    }
    double best(const std::string& name) const {
        const auto it = m_best.find(name);
        return it == m_best.end() ? 0 : it->second;
    }

private:
    std::map<std::string, double> m_best;
};

std::string timeText(double nanoseconds) {
    static constexpr const char* UNITS[] = {"ns", "us", "ms", "s"};
    int unit = 0;
    for (; unit < 3 && nanoseconds >= 1000; ++unit)
        nanoseconds /= 1000;
    char text[40];
    std::snprintf(text, sizeof text, "%.3g %s", nanoseconds, UNITS[unit]);
    return text;
}

// False when the figure was not run, for example because of a filter.
bool makeRow(const Figure& figure, const BestTimes& times, Row& row) {
    const double ours = times.best(figure.ours);
    row = {figure.title, timeText(ours), figure.goal, {}};
    for (const std::string& peer : figure.peers) {
        const double time = times.best(peer);
        if (time > 0) row.peers.push_back({peer, timeText(time), time / ours});
    }
    std::stable_sort(row.peers.begin(), row.peers.end(),
                     [](const Peer& left, const Peer& right) { return left.ratio < right.ratio; });
    return ours > 0 && !row.peers.empty();
}

void print(const std::vector<Row>& rows) {
    std::printf(
        "\n| figure | ours | best peer | peer | ratio | goal | met |\n|---|---|---|---|---|---|---|\n");
    for (const Row& row : rows) {
        const Peer& best = row.peers.front();
        std::printf("| %s | %s | %s | %s | %.2f | %.2f | %s |\n", row.title.c_str(), row.ours.c_str(),
                    best.time.c_str(), best.name.c_str(), best.ratio, row.goal,
                    row.goal <= 0            ? ""
                    : best.ratio >= row.goal ? "yes"
                                             : "no");
    }
}

// The rows for scripts/bench_report.py, fields between tabs: title, ours, goal, then name, time and
// ratio of each peer, the best one first.
bool save(const std::vector<Row>& rows, const char* szPath) {
    std::FILE* pFile = std::fopen(szPath, "w");
    if (!pFile) return false;
    for (const Row& row : rows) {
        std::fprintf(pFile, "%s\t%s\t%g", row.title.c_str(), row.ours.c_str(), row.goal);
        for (const Peer& peer : row.peers)
            std::fprintf(pFile, "\t%s\t%s\t%.4g", peer.name.c_str(), peer.time.c_str(), peer.ratio);
        std::fputc('\n', pFile);
    }
    return std::fclose(pFile) == 0;
}

int run(int argc, char** argv) {
    std::vector<char*> args(argv, argv + argc);
    std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.05"};
    for (std::string& option : defaults)
        args.insert(args.begin() + 1, option.data());
    int count = static_cast<int>(args.size());
    args.push_back(nullptr);
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    BestTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    std::vector<Row> rows;
    int missing = 0;
    for (const Figure& figure : figures()) {
        Row row;
        if (makeRow(figure, times, row)) {
            rows.push_back(row);
        } else {
            std::fprintf(stderr, "not measured: %s\n", figure.title.c_str());
            ++missing;
        }
    }
    rows.insert(rows.end(), measuredRows().begin(), measuredRows().end());
    print(rows);
    const char* szTable = std::getenv("VDX_BENCH_TABLE");
    if (szTable && !save(rows, szTable)) {
        std::perror(szTable);
        return 1;
    }
    // A figure that is left out without a filter is a mistake in its names.
    const bool bFiltered = std::any_of(argv + 1, argv + argc, [](const std::string& arg) {
        return arg.rfind("--benchmark_filter", 0) == 0;
    });
    return missing > 0 && !bFiltered ? 1 : 0;
}

}  // namespace

bool addFigure(Figure figure) {
    figures().push_back(std::move(figure));
    return true;
}

void addMeasured(const std::string& title, double ours, const std::string& peer, double peerValue,
                 double goal, const char* unit) {
    char own[40], other[40];
    std::snprintf(own, sizeof own, "%.3g %s", ours, unit);
    std::snprintf(other, sizeof other, "%.3g %s", peerValue, unit);
    measuredRows().push_back({title, own, goal, {{peer, other, peerValue / ours}}});
}

}  // namespace vdx::bench

int main(int argc, char** argv) {
    return vdx::bench::run(argc, argv);
}
