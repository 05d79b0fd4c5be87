#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

/// Times a piece of work against a yardstick, turn by turn in one run, so that a busy or slow
/// machine slows both: the ratio of the medians is the result.
class Paired {
public:
    template <class Work, class Yardstick> void turn(Work work, Yardstick yardstick)
    {
        m_work.push_back(seconds(work));
        m_yardstick.push_back(seconds(yardstick));
    }
    double lastWork() const { return m_work.back(); }
    double medianWork() const { return median(m_work); } ///< seconds

    void report(benchmark::State &state) const
    {
        state.counters["work_ms"] = 1e3 * median(m_work);
        state.counters["yardstick_ms"] = 1e3 * median(m_yardstick);
        state.counters["ratio"] = median(m_work) / median(m_yardstick);
    }

private:
    template <class Work> static double seconds(Work work)
    {
        const auto begin = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }
    static double median(std::vector<double> values)
    {
        std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
        return values[values.size() / 2];
    }

    std::vector<double> m_work;
    std::vector<double> m_yardstick;
};
