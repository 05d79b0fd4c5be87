#pragma once

#include <QString>

/// Tells on the standard error how far a bake is: a bar on a terminal, else a line each tenth, so
/// that a farm's log stays short.
class Progress {
public:
    Progress();
    ~Progress();
    /// So many steps follow.
    void begin(int stepCount);
    void step(const QString &where);
    void say(const QString &line);

private:
    void clearBar();

    int m_stepCount = 1;
    int m_done = 0;
    int m_tenth = 0;
    bool m_terminal;
    bool m_barShown = false;
};
