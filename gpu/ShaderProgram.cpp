#include "gpu/ShaderProgram.h"

#include "gpu/Log.h"
#include "gpu/ShaderSource.h"

#include <algorithm>

std::vector<ShaderStage> drawStages(const QString &name)
{
    const QString stem = QStringLiteral(":/drawShaders/DrawShaders/") + name;
    return { { QOpenGLShader::Vertex, stem + QStringLiteral("_vertex.glsl"), {} },
             { QOpenGLShader::Fragment, stem + QStringLiteral("_fragment.glsl"), {} } };
}

bool ShaderProgram::build(const std::vector<ShaderStage> &stages)
{
    for (const ShaderStage &stage : stages) {
        if (!addStage(stage))
            return false;
    }
    if (!m_program.link()) {
        qCDebug(lcGpu).noquote() << "can't link" << stages.front().path << m_program.log();
        return false;
    }
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
    if (!m_program.addShaderFromSourceCode(stage.type, source.text)) {
        qCDebug(lcGpu).noquote() << "can't compile" << stage.path << m_program.log()
                                 << source.files.join(QLatin1Char(' '));
        return false;
    }
    declareUniforms(source.text);
    return true;
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
