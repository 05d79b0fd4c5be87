#include "gpu/ShaderProgram.h"

#include "gpu/Log.h"
#include "gpu/ShaderSource.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <algorithm>

// Compiled and linked by plain calls: Qt's own write the whole joined source into the log of
// whoever runs the program when a stage fails.
namespace {

GLenum glStage(QOpenGLShader::ShaderType type)
{
    return type == QOpenGLShader::Vertex  ? GL_VERTEX_SHADER
        : type == QOpenGLShader::Fragment ? GL_FRAGMENT_SHADER
                                          : GL_COMPUTE_SHADER;
}

QString firstLine(const char *log)
{
    return QString::fromLocal8Bit(log).trimmed().section(QLatin1Char('\n'), 0, 0);
}

} // namespace

std::vector<ShaderStage> drawStages(const QString &name)
{
    const QString stem = QStringLiteral(":/drawShaders/DrawShaders/") + name;
    return { { QOpenGLShader::Vertex, stem + QStringLiteral("_vertex.glsl"), {} },
             { QOpenGLShader::Fragment, stem + QStringLiteral("_fragment.glsl"), {} } };
}

bool ShaderProgram::build(const std::vector<ShaderStage> &stages)
{
    if (!m_program.create())
        return false;
    for (const ShaderStage &stage : stages) {
        if (!addStage(stage))
            return false;
    }
    if (!link(stages.front().path))
        return false;
    for (Uniform &uniform : m_uniforms)
        uniform.location = m_program.uniformLocation(uniform.name.constData());
    return true;
}

bool ShaderProgram::addStage(const ShaderStage &stage)
{
    const ShaderSource source = loadShader(stage.path, stage.defines);
    if (source.text.isEmpty()) {
        qCDebug(lcGpu).noquote() << source.error;
        return false;
    }
    QOpenGLFunctions &gl = *QOpenGLContext::currentContext()->functions();
    const GLuint shader = gl.glCreateShader(glStage(stage.type));
    const char *text = source.text.constData();
    gl.glShaderSource(shader, 1, &text, nullptr);
    gl.glCompileShader(shader);
    GLint compiled = 0;
    gl.glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled) {
        gl.glAttachShader(m_program.programId(), shader);
        declareUniforms(source.text);
    } else {
        char log[512] = "";
        gl.glGetShaderInfoLog(shader, sizeof log, nullptr, log);
        qCDebug(lcGpu).noquote() << "can't compile" << stage.path << firstLine(log)
                                 << source.files.join(QLatin1Char(' '));
    }
    gl.glDeleteShader(shader); // the program keeps it
    return compiled;
}

bool ShaderProgram::link(const QString &name)
{
    QOpenGLFunctions &gl = *QOpenGLContext::currentContext()->functions();
    gl.glLinkProgram(m_program.programId());
    GLint linked = 0;
    gl.glGetProgramiv(m_program.programId(), GL_LINK_STATUS, &linked);
    if (linked)
        return m_program.link(); // takes over what stands
    char log[512] = "";
    gl.glGetProgramInfoLog(m_program.programId(), sizeof log, nullptr, log);
    qCDebug(lcGpu).noquote() << "can't link" << name << firstLine(log);
    return false;
}

// "uniform float intensity;": the name is the last word. The text is asked, not the driver, which
// knows nothing of a uniform that no statement needs.
void ShaderProgram::declareUniforms(const QByteArray &source)
{
    for (const QByteArray &line : source.split('\n')) {
        if (!line.startsWith("uniform "))
            continue;
        const QByteArray declaration = line.left(line.indexOf(';')).simplified();
        m_uniforms.push_back({ declaration.mid(declaration.lastIndexOf(' ') + 1), -1 });
    }
}

int ShaderProgram::location(const char *uniform) const
{
    const auto known =
        std::find_if(m_uniforms.begin(), m_uniforms.end(),
                     [uniform](const Uniform &declared) { return declared.name == uniform; });
    // The sculpt kernel is told of Shift, which has had its say before, deliberately.
    Q_ASSERT_X(known != m_uniforms.end() || qstrcmp(uniform, "Shift") == 0, "uniform", uniform);
    return known == m_uniforms.end() ? -1 : known->location;
}
