#pragma once

#include "app/Global.h"
#include "app/MainWindow.h"
#include "app/Startup.h"
#include "viewport/Viewport.h"

#include <QApplication>
#include <QTest>

#include <memory>

/// The whole program inside another process, for the demo, the pictures, tests and benchmarks: the
/// real start-up, the real windows shown. One per process, after Startup::prepare() and the
/// application object.
class RunningProgram {
public:
    RunningProgram()
    {
        Startup::dress(*qApp);
        Global::createCore();
        Global::createWindows();
        m_global = std::make_unique<Global>();
        Global::connectSignals(*m_global);
        m_exposed = QTest::qWaitForWindowExposed(Global::mainWindow());
        QApplication::processEvents();
    }
    ~RunningProgram()
    {
        if (Global::mainWindow())
            Global::mainWindow()->hide();
        Global::destroyAll();
    }
    RunningProgram(const RunningProgram &) = delete;
    RunningProgram &operator=(const RunningProgram &) = delete;

    /// Whether the main viewport has a context; false without a display or without OpenGL 4.3.
    bool hasGL() const { return m_exposed && Global::viewport()->isValid(); }

    /// The receiver of the slots.
    Global &global() { return *m_global; }

private:
    std::unique_ptr<Global> m_global;
    bool m_exposed = false;
};
