#pragma once

#include "gpu/ShaderProgram.h"

/// Binds a program and releases it at the brace, whichever way the function is left.
class ProgramScope {
public:
    explicit ProgramScope(ShaderProgram &program)
        : m_program(program)
    {
        m_program.m_program.bind();
    }
    ~ProgramScope() { m_program.m_program.release(); }
    ProgramScope(const ProgramScope &) = delete;
    ProgramScope &operator=(const ProgramScope &) = delete;

    /// A name that no stage declares is a mistake of ours. Flags travel as 0 or 1 integers.
    template <class Value> void set(const char *uniform, const Value &value)
    {
        m_program.m_program.setUniformValue(m_program.location(uniform), value);
    }

private:
    ShaderProgram &m_program;
};
