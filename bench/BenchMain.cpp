// The main program of xts_bench.
//
// Convention: every benchmark is measured against a baseline in the same run.
//  - Name the two benchmarks "<Family>/<Case>/ours" and
//    "<Family>/<Case>/baseline" (register them with ->Name(...)), for example
//    "Utf8ToWide/Value10/ours" and "Utf8ToWide/Value10/baseline". The baseline
//    is the straightforward way of doing the same work (iconv, the standard
//    library ...), on the same input.
//  - Call state.SetBytesProcessed(...) in both when throughput matters.
//  - Declare a target, when there is one, next to the benchmarks with
//    XTS_BENCH_TARGET("<Family>/<Case>", .minRatio = 5) and/or
//    .minBytesPerSecond = 3e9 (see BenchSupport.h).
//
// After the usual console report, a "Ratios" table pairs each ours with its
// baseline: ratio = baseline CPU time / our CPU time (how many times faster we
// are), the throughput of both when set, the target and whether it was met.
//
// The machine is shared, so other work disturbs single measurements. Each
// benchmark therefore runs 5 times for at least 0.2 s by default, the
// repetitions of all benchmarks interleaved in random order so that a burst
// of other work does not fall on all repetitions of one benchmark
// (--benchmark_repetitions=N, --benchmark_min_time=T and
// --benchmark_enable_random_interleaving=false change that); the console shows the
// aggregates (mean, median, deviation) and the Ratios table takes, for ours and for the baseline
// alike, the repetition with the least CPU time, the one least disturbed. CPU time rather than wall
// time for the same reason. Every other --benchmark_* flag works as usual.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace xts::bench {

namespace {
std::map<std::string, Target>& TargetTable() {
    static std::map<std::string, Target> table;
    return table;
}
}  // namespace

bool SetTarget(const std::string& familyCase, Target target) {
    TargetTable()[familyCase] = target;
    return true;
}

const std::map<std::string, Target>& Targets() {
    return TargetTable();
}

std::wstring ProseValue(std::size_t characters) {
    static const std::wstring kText =
        L"Die Stra\u00dfe f\u00fchrt durch das Dorf nach Z\u00fcrich, wo das Caf\u00e9 am "
        L"Marktplatz jeden Morgen frische Br\u00f6tchen verkauft. Le march\u00e9 ouvre "
        L"\u00e0 huit heures et ferme le soir. ";
    std::wstring value;
    while (value.size() < characters) value += kText;
    value.resize(characters);
    return value;
}

}  // namespace xts::bench

namespace {

struct Measurement {
    double cpuSeconds = 0;      // per iteration, of the fastest repetition
    double bytesPerSecond = 0;  // of that repetition; 0 when not set
};

// Keeps, for every benchmark, its fastest repetition.
class CollectingReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
            const double cpuSeconds =
                run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            const auto [slot, added] = m_measurements.try_emplace(run.run_name.str());
            if (!added && slot->second.cpuSeconds <= cpuSeconds) continue;
            slot->second.cpuSeconds = cpuSeconds;
            const auto rate = run.counters.find("bytes_per_second");
            slot->second.bytesPerSecond = rate == run.counters.end() ? 0 : rate->second.value;
        }
    }

    const std::map<std::string, Measurement>& Measurements() const { return m_measurements; }

private:
    std::map<std::string, Measurement> m_measurements;
};

// Hands every report to the collector, and to the console reporter only the
// aggregates when there are repetitions.
class TeeReporter : public benchmark::BenchmarkReporter {
public:
    TeeReporter(BenchmarkReporter& console, BenchmarkReporter& collector)
        : m_console(console), m_collector(collector) {}

    bool ReportContext(const Context& context) override {
        const bool console = m_console.ReportContext(context);
        const bool collector = m_collector.ReportContext(context);
        return console && collector;
    }
    void ReportRuns(const std::vector<Run>& runs) override {
        m_collector.ReportRuns(runs);
        std::vector<Run> shown;
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate || run.repetitions <= 1) shown.push_back(run);
        }
        if (!shown.empty()) m_console.ReportRuns(shown);
    }
    void Finalize() override {
        m_console.Finalize();
        m_collector.Finalize();
    }

private:
    BenchmarkReporter& m_console;
    BenchmarkReporter& m_collector;
};

std::string FormatTime(double seconds) {
    char text[32];
    if (seconds < 1e-6) {
        std::snprintf(text, sizeof text, "%.1f ns", seconds * 1e9);
    } else if (seconds < 1e-3) {
        std::snprintf(text, sizeof text, "%.2f us", seconds * 1e6);
    } else {
        std::snprintf(text, sizeof text, "%.3f ms", seconds * 1e3);
    }
    return text;
}

std::string FormatRate(double bytesPerSecond) {
    if (bytesPerSecond <= 0) return "-";
    char text[32];
    if (bytesPerSecond >= 1e9) {
        std::snprintf(text, sizeof text, "%.2f GB/s", bytesPerSecond / 1e9);
    } else {
        std::snprintf(text, sizeof text, "%.0f MB/s", bytesPerSecond / 1e6);
    }
    return text;
}

std::string FormatTarget(const xts::bench::Target& target) {
    std::string text;
    char part[48];
    if (target.minRatio > 0) {
        std::snprintf(part, sizeof part, ">= %.1fx", target.minRatio);
        text += part;
    }
    if (target.minBytesPerSecond > 0) {
        if (!text.empty()) text += ", ";
        text += ">= " + FormatRate(target.minBytesPerSecond);
    }
    return text.empty() ? "-" : text;
}

// Prints the Ratios table; returns the number of targets missed.
int PrintRatios(const std::map<std::string, Measurement>& measurements) {
    static const std::string kOurs = "/ours";
    static const std::string kBaseline = "/baseline";
    std::printf(
        "\nRatios (baseline CPU time / our CPU time, fastest repetition of each; higher is "
        "better)\n");
    std::printf("%-34s %11s %11s %8s %11s %11s %-22s %s\n", "Benchmark", "ours", "baseline",
                "ratio", "ours rate", "base rate", "target", "status");
    int missed = 0;
    for (const auto& [name, ours] : measurements) {
        if (name.size() <= kOurs.size() ||
            name.compare(name.size() - kOurs.size(), kOurs.size(), kOurs) != 0)
            continue;
        const std::string familyCase = name.substr(0, name.size() - kOurs.size());
        const auto baseline = measurements.find(familyCase + kBaseline);
        if (baseline == measurements.end()) {
            std::printf("%-34s %11s   (no baseline measured)\n", familyCase.c_str(),
                        FormatTime(ours.cpuSeconds).c_str());
            continue;
        }
        const double ratio =
            ours.cpuSeconds > 0 ? baseline->second.cpuSeconds / ours.cpuSeconds : 0;
        const auto targetEntry = xts::bench::Targets().find(familyCase);
        std::string target = "-";
        std::string status;
        if (targetEntry != xts::bench::Targets().end()) {
            const xts::bench::Target& wanted = targetEntry->second;
            target = FormatTarget(wanted);
            const bool met =
                ratio >= wanted.minRatio &&
                (wanted.minBytesPerSecond <= 0 || ours.bytesPerSecond >= wanted.minBytesPerSecond);
            status = met ? "met" : "MISSED";
            if (!met) ++missed;
        }
        char ratioText[16];
        std::snprintf(ratioText, sizeof ratioText, "%.2fx", ratio);
        std::printf(
            "%-34s %11s %11s %8s %11s %11s %-22s %s\n", familyCase.c_str(),
            FormatTime(ours.cpuSeconds).c_str(), FormatTime(baseline->second.cpuSeconds).c_str(),
            ratioText, FormatRate(ours.bytesPerSecond).c_str(),
            FormatRate(baseline->second.bytesPerSecond).c_str(), target.c_str(), status.c_str());
    }
    if (missed > 0) std::printf("%d target(s) missed\n", missed);
    return missed;
}

}  // namespace

int main(int argc, char** argv) {
    // Five interleaved repetitions of at least 0.2 s each unless the command
    // line says otherwise.
    std::vector<char*> arguments(argv, argv + argc);
    auto given = [&](const char* flag) {
        return std::any_of(arguments.begin(), arguments.end(), [flag](const char* argument) {
            return std::strncmp(argument, flag, std::strlen(flag)) == 0;
        });
    };
    static char defaultRepetitions[] = "--benchmark_repetitions=5";
    static char defaultMinTime[] = "--benchmark_min_time=0.2";
    static char defaultInterleaving[] = "--benchmark_enable_random_interleaving=true";
    if (!given("--benchmark_repetitions")) arguments.push_back(defaultRepetitions);
    if (!given("--benchmark_min_time")) arguments.push_back(defaultMinTime);
    if (!given("--benchmark_enable_random_interleaving")) arguments.push_back(defaultInterleaving);
    argc = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    argv = arguments.data();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    const int options = isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_ColorTabular
                                              : benchmark::ConsoleReporter::OO_Tabular;
    benchmark::ConsoleReporter console(
        static_cast<benchmark::ConsoleReporter::OutputOptions>(options));
    CollectingReporter collector;
    TeeReporter tee(console, collector);
    benchmark::RunSpecifiedBenchmarks(&tee);
    PrintRatios(collector.Measurements());
    benchmark::Shutdown();
    return 0;
}
