#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <map>
#include <ostream>
#include <string>

/// Prints one line a row: name, time in the row's unit, the ratio to the yardstick where the row
/// has one, what else the row counted. Of a row that is repeated, the median. Rows named "what, N
/// vertices" are fitted at the end: the exponent of N with which each of their times grows.
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
    void Finalize() override
    {
        for (const auto &[figure, growth] : m_growth)
            if (growth.sizes > 2)
                GetOutputStream() << figure << " grows as N^" << rounded(growth.exponent(), "%.2f")
                                  << '\n';
    }

private:
    /// The line through the logarithms, by least squares.
    struct Growth {
        int sizes = 0;
        double x = 0, y = 0, xx = 0, xy = 0;
        void add(double size, double time)
        {
            const double a = std::log(size), b = std::log(time);
            ++sizes;
            x += a;
            y += b;
            xx += a * a;
            xy += a * b;
        }
        double exponent() const { return (sizes * xy - x * y) / (sizes * xx - x * x); }
    };
    void fit(const std::string &name, const Run &run)
    {
        const size_t comma = name.find(", ");
        const double size = comma == name.npos ? 0.0 : std::atof(name.c_str() + comma + 2);
        for (const auto &[key, value] : run.counters)
            if (size > 0 && value > 0 && key.size() > 3 && key.substr(key.size() - 3) == "_ms")
                m_growth[name.substr(0, comma) + ' ' + key].add(size, value);
    }
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
        fit(name, run);
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
    std::map<std::string, Growth> m_growth;
};

/// Runs the rows that are registered; the library's own options hold, but for the format shown.
inline int runRows(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    RowReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
