#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <ostream>
#include <string>

/// Prints one line a row: name, time in the row's unit, the ratio to the yardstick where the row
/// has one, what else the row counted. Of a row that is repeated, the median.
class RowReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &context) override
    {
        PrintBasicContext(&GetErrorStream(),
                          context); // warns of a machine or library that is unfit
        m_nameWidth = int(std::max<size_t>(context.name_field_width, 20));
        line("row", "time", "ratio") << '\n';
        return true;
    }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")
                report(run);
        GetOutputStream().flush();
    }

private:
    static std::string rounded(double value, const char *format = "%.4g")
    {
        char text[32];
        std::snprintf(text, sizeof text, format, value);
        return text;
    }
    std::ostream &line(const std::string &name, const std::string &time, const std::string &ratio)
    {
        return GetOutputStream() << std::left << std::setw(m_nameWidth) << name << std::right
                                 << std::setw(12) << time << std::setw(8) << ratio << "  ";
    }
    void report(const Run &run)
    {
        const std::string name = run.benchmark_name();
        if (run.error_occurred) {
            line(name, "-", "-") << run.error_message << '\n';
            return;
        }
        const auto ratio = run.counters.find("ratio");
        std::ostream &out = line(
            name,
            rounded(run.GetAdjustedRealTime()) + ' ' + benchmark::GetTimeUnitString(run.time_unit),
            ratio == run.counters.end() ? "-" : rounded(ratio->second, "%.2f"));
        for (const auto &[key, value] : run.counters)
            if (key != "ratio")
                out << ' ' << key << '=' << rounded(value);
        out << '\n';
    }

    int m_nameWidth = 0;
};

/// Runs the rows that are registered; the library's own options hold, but for the format shown.
inline int runRows(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    RowReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
