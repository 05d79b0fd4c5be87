#pragma once

#include <QtTest>

/// At the head of a test that cannot do without something: it skips, or fails where CI should have
/// it.
#define NEEDS(condition, required, text)                                                           \
    if (!(condition)) {                                                                            \
        QVERIFY2(!(required), text);                                                               \
        QSKIP(text);                                                                               \
    }

#ifdef REQUIRE_GL
#define NEEDS_GL(valid) NEEDS(valid, true, "no OpenGL 4.3 context")
#else
#define NEEDS_GL(valid) NEEDS(valid, false, "no OpenGL 4.3 context")
#endif

/// The folder of archives that other programs wrote; ends in a slash, empty where none is named.
inline QString realArchives()
{
    const QString folder = qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES");
    return folder.isEmpty() ? folder : folder + QLatin1Char('/');
}

#define NEEDS_REAL_ARCHIVES()                                                                      \
    NEEDS(QFile::exists(realArchives()), qEnvironmentVariableIsSet("CI"),                          \
          "PLEXMOLD_REAL_ARCHIVES names no folder")
