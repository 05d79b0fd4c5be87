#pragma once

#include <QByteArray>
#include <QOpenGLShaderProgram>
#include <QString>

#include <vector>

/// One file of a shader program.
struct ShaderStage {
    QOpenGLShader::ShaderType type;
    QString path; ///< file or resource path
    QByteArray defines; ///< lines put in front of the file's own
};

/// The stages of a vertex and a fragment shader "NAME_vertex.glsl" and "NAME_fragment.glsl" among
/// the draw shaders.
std::vector<ShaderStage> drawStages(const QString &name);

/// A linked shader program that knows where its uniforms lie: drivers are asked once, not at each
/// pass. Built and destroyed with a context of the share group current. Values are set through a
/// ProgramScope.
class ShaderProgram {
public:
    /// False, and one debug line with the first of the driver's log, when a file is missing or does
    /// not compile or link; the driver's file numbers count the files listed behind it.
    bool build(const std::vector<ShaderStage> &stages);

private:
    friend class ProgramScope;
    struct Uniform {
        QByteArray name;
        int location; ///< -1 where this driver or these defines leave it out
    };

    bool addStage(const ShaderStage &stage);
    bool link(const QString &name);
    void declareUniforms(const QByteArray &source);
    int location(const char *uniform) const;

    QOpenGLShaderProgram m_program;
    std::vector<Uniform> m_uniforms; ///< those that the stages declare
};
