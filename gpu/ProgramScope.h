#pragma once

#include <QOpenGLShaderProgram>

/// Binds a program and releases it at the brace, whichever way the function is left.
class ProgramScope {
public:
    explicit ProgramScope(QOpenGLShaderProgram &program)
        : m_program(program)
    {
        m_program.bind();
    }
    ~ProgramScope() { m_program.release(); }
    ProgramScope(const ProgramScope &) = delete;
    ProgramScope &operator=(const ProgramScope &) = delete;

    /// A uniform that the program does not use is passed over. Flags travel as 0 or 1 integers.
    template <class Value> void set(const char *uniform, const Value &value)
    {
        m_program.setUniformValue(uniform, value);
    }

private:
    QOpenGLShaderProgram &m_program;
};
