#pragma once

#include "app/Global.h"
#include "app/MainWindow.h"
#include "app/Startup.h"
#include "viewport/Viewport.h"

#include <QApplication>
#include <QTest>

#include <memory>

/// The whole program inside a test: the real start-up, the real windows shown. One per process, in
/// a test whose main() is PLEXMOLD_TEST_MAIN.
class AppFixture {
public:
    AppFixture()
    {
        Startup::dress(*qApp);
        Global::createCore();
        Global::createWindows();
        m_global = std::make_unique<Global>();
        Global::connectSignals(*m_global);
        m_exposed = QTest::qWaitForWindowExposed(Global::mainWindow());
        QApplication::processEvents();
    }
    ~AppFixture()
    {
        Global::mainWindow()->hide();
        Global::destroyAll();
    }
    AppFixture(const AppFixture &) = delete;
    AppFixture &operator=(const AppFixture &) = delete;

    /// Whether the main viewport has a context: without one (no display, no OpenGL 4.3) tests that
    /// look at the mesh skip, or fail when REQUIRE_GL is on.
    bool hasGL() const { return m_exposed && Global::viewport()->isValid(); }

    /// The receiver of the slots.
    Global &global() { return *m_global; }

private:
    std::unique_ptr<Global> m_global;
    bool m_exposed = false;
};

#ifdef REQUIRE_GL
#define SKIP_WITHOUT_GL(fixture) QVERIFY2((fixture).hasGL(), "no OpenGL 4.3 context")
#else
#define SKIP_WITHOUT_GL(fixture)                                                                   \
    if (!(fixture).hasGL())                                                                        \
    QSKIP("no OpenGL 4.3 context")
#endif

#define PLEXMOLD_TEST_MAIN(TestClass)                                                              \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        Startup::prepare();                                                                        \
        QApplication application(argc, argv);                                                      \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
