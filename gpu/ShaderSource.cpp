#include "gpu/ShaderSource.h"

#include <QFile>
#include <QFileInfo>

namespace {

/// The name in an #include line's quotes; empty for any other line.
QString includedName(const QByteArray &line)
{
    const QByteArray trimmed = line.trimmed();
    if (!trimmed.startsWith("#include"))
        return QString();
    const int open = trimmed.indexOf('"');
    const int close = trimmed.indexOf('"', open + 1);
    return open < 0 || close < 0 ? QString()
                                 : QString::fromUtf8(trimmed.mid(open + 1, close - open - 1));
}

QByteArray lineDirective(int nextLine, int file)
{
    return "#line " + QByteArray::number(nextLine) + ' ' + QByteArray::number(file) + '\n';
}

class Expander {
public:
    Expander(const QString &mainPath, const QByteArray &defines)
        : m_folder(QFileInfo(mainPath).path())
        , m_defines(defines)
    {
    }

    bool expand(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            m_source.error = QStringLiteral("can't read the shader file ") + path;
            return false;
        }
        const int number = m_source.files.size();
        m_source.files.append(path);
        if (number > 0)
            m_source.text += lineDirective(1, number);
        int lineNumber = 0;
        while (!file.atEnd()) {
            if (!expandLine(file.readLine(), ++lineNumber, number))
                return false;
        }
        return true;
    }

    ShaderSource take() { return std::move(m_source); }

private:
    bool expandLine(QByteArray line, int lineNumber, int file)
    {
        while (line.endsWith('\n') || line.endsWith('\r'))
            line.chop(1);
        const QString name = includedName(line);
        if (!name.isEmpty())
            return include(m_folder + QLatin1Char('/') + name, lineNumber, file);
        m_source.text += line + '\n';
        // Nothing but comments may stand before #version, so the defines go behind it.
        if (line.trimmed().startsWith("#version"))
            m_source.text += m_defines + lineDirective(lineNumber + 1, file);
        return true;
    }

    bool include(const QString &path, int lineNumber, int file)
    {
        if (!m_source.files.contains(path) && !expand(path))
            return false;
        m_source.text += lineDirective(lineNumber + 1, file);
        return true;
    }

    const QString m_folder;
    const QByteArray m_defines;
    ShaderSource m_source;
};

} // namespace

ShaderSource loadShader(const QString &path, const QByteArray &defines)
{
    Expander expander(path, defines);
    const bool complete = expander.expand(path);
    ShaderSource source = expander.take();
    if (!complete)
        source.text.clear();
    return source;
}
