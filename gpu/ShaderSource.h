#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// Joins a shader from its files: expands #include "…" lines (relative to the main file's folder),
/// each file once, with #line directives around, so that the driver's messages name the line; the
/// source-string number of the n-th file is n, and `files` lists them. Text in, text out, no GL.
struct ShaderSource {
    QByteArray text; ///< empty on failure
    QStringList files;
    QString error; ///< names the missing file
};

/// `path`: a file or resource path. `defines`: whole lines that go behind #version.
ShaderSource loadShader(const QString &path, const QByteArray &defines = {});
