// How much the models add to cpprestsdk's own cost on a large site tree:
// parse + fromJson against parse alone, toJson + serialize against serialize
// alone, all in the same run. The ratios are printed after the table.
//
// Run all four together: serialize's time depends on the state of the heap
// (growing its 11 MB result on a fresh heap costs page faults), and the
// parse benchmarks that run first leave the heap as a long-running client's.
#include "SiteTreeDocument.h"

#include <lithmar/exchange/model/GetSiteResult.h>

#include <benchmark/benchmark.h>

#include <iomanip>
#include <iostream>
#include <map>
#include <string>

namespace lithmar_bench {
namespace {

using com::vantorel::lithmar::exploration::model::GetSiteResult;
using web::json::value;

constexpr std::size_t treeChildren = 100000;

const std::string& document()
{
    static const std::string text = siteTreeDocument(treeChildren);
    return text;
}

void countBytes(benchmark::State& state)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document().size()));
}

void Parse(benchmark::State& state)
{
    for (auto _ : state) {
        value json = value::parse(document());
        benchmark::DoNotOptimize(json);
    }
    countBytes(state);
}

void ParseAndFromJson(benchmark::State& state)
{
    for (auto _ : state) {
        value json = value::parse(document());
        GetSiteResult site;
        site.fromJson(json);
        benchmark::DoNotOptimize(site);
    }
    countBytes(state);
}

void Serialize(benchmark::State& state)
{
    const value json = value::parse(document());
    for (auto _ : state) {
        benchmark::DoNotOptimize(json.serialize());
    }
    countBytes(state);
}

void ToJsonAndSerialize(benchmark::State& state)
{
    value json = value::parse(document());
    GetSiteResult site;
    site.fromJson(json);
    for (auto _ : state) {
        benchmark::DoNotOptimize(site.toJson().serialize());
    }
    countBytes(state);
}

// Records the median times of each benchmark while the console reporter
// prints. CPU time is the steadier measure on a shared machine, so the ratios
// are given in both.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    // Plain text: the table usually ends up in a log.
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_medians[run.run_name.function_name] = {run.GetAdjustedCPUTime(), run.GetAdjustedRealTime()};
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios(std::ostream& out) const
    {
        out << std::fixed << std::setprecision(2) << "document: " << document().size() / 1e6 << " MB, "
            << treeChildren << " tree entries; medians, target ratio <= 2.00\n";
        printRatio(out, "(parse + fromJson) / parse", "ParseAndFromJson", "Parse");
        printRatio(out, "(toJson + serialize) / serialize", "ToJsonAndSerialize", "Serialize");
    }

private:
    struct Times {
        double cpu;
        double real;
    };

    void printRatio(std::ostream& out, const char* label, const std::string& measured,
                    const std::string& reference) const
    {
        const auto m = m_medians.find(measured);
        const auto r = m_medians.find(reference);
        if (m == m_medians.end() || r == m_medians.end()) {
            return; // filtered out of this run
        }
        out << label << ": cpu " << m->second.cpu / r->second.cpu << " (" << m->second.cpu << " / " << r->second.cpu
            << " ms), real " << m->second.real / r->second.real << " (" << m->second.real << " / " << r->second.real
            << " ms)\n";
    }

    std::map<std::string, Times> m_medians;
};

} // namespace
} // namespace lithmar_bench

int main(int argc, char** argv)
{
    using namespace lithmar_bench;
    for (auto* bench : {benchmark::RegisterBenchmark("Parse", Parse),
                        benchmark::RegisterBenchmark("ParseAndFromJson", ParseAndFromJson),
                        benchmark::RegisterBenchmark("Serialize", Serialize),
                        benchmark::RegisterBenchmark("ToJsonAndSerialize", ToJsonAndSerialize)}) {
        bench->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios(std::cout);
    benchmark::Shutdown();
    return 0;
}
