#include "bake/Progress.h"

#include <cstdio>
#include <unistd.h>

namespace {
constexpr int kBarWidth = 40;
}

Progress::Progress()
    : m_terminal(isatty(STDERR_FILENO) == 1)
{
}

Progress::~Progress() { clearBar(); }

void Progress::begin(int stepCount)
{
    m_stepCount = stepCount;
    m_done = 0;
    m_tenth = 0;
}

void Progress::step(const QString &where)
{
    ++m_done;
    const auto share = [this](int of) { return int(qint64(of) * m_done / m_stepCount); };
    if (m_terminal) {
        const std::string bar(size_t(share(kBarWidth)), '#');
        std::fprintf(stderr, "\r[%-*s] %3d %%  %s\033[K", kBarWidth, bar.c_str(), share(100),
                     qPrintable(where));
        m_barShown = true;
    } else if (share(10) > m_tenth) {
        m_tenth = share(10);
        std::fprintf(stderr, "%3d %%  %s\n", share(100), qPrintable(where));
    }
}

void Progress::say(const QString &line)
{
    clearBar();
    std::fprintf(stderr, "%s\n", qPrintable(line));
}

void Progress::clearBar()
{
    if (m_barShown)
        std::fputs("\r\033[K", stderr);
    m_barShown = false;
}
