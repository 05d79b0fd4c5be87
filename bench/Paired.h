#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

/// Times a piece of work against a yardstick, turn by turn in one run, so that a busy or slow
/// machine slows both: the ratio of the medians is the result.
class Paired {
public:
    enum class Clock { Wall, Processor }; ///< of this process, all threads
    explicit Paired(Clock clock = Clock::Wall)
        : m_clock(clock)
    {
    }
    template <class Work, class Yardstick> void turn(Work work, Yardstick yardstick)
    {
        m_work.push_back(seconds(work));
        m_yardstick.push_back(seconds(yardstick));
    }
    double lastWork() const { return m_work.back(); }
    double medianWork() const { return median(m_work); } ///< seconds

    double medianYardstick() const { return median(m_yardstick); }

    void report(benchmark::State &state) const
    {
        state.counters["work_ms"] = 1e3 * median(m_work);
        state.counters["yardstick_ms"] = 1e3 * median(m_yardstick);
        state.counters["ratio"] = median(m_work) / median(m_yardstick);
    }

private:
    double now() const
    {
        if (m_clock == Clock::Processor)
            return double(std::clock()) / CLOCKS_PER_SEC;
        const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration<double>(sinceStart).count();
    }
    template <class Work> double seconds(Work work) const
    {
        const double begin = now();
        work();
        return now() - begin;
    }
    static double median(std::vector<double> values)
    {
        std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
        return values[values.size() / 2];
    }

    const Clock m_clock;
    std::vector<double> m_work;
    std::vector<double> m_yardstick;
};
