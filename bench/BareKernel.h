#pragma once

#include "gpu/GPUMesh.h"

#include <QOpenGLContext>
#include <QOpenGLShaderProgram>

#include <map>
#include <string>

/// What one pass has to move, and nothing else: the least that this driver lets it cost.
struct Moves {
    enum class Around { Vertex, Ring, Springs };
    int loads = 0; ///< vec4 of the vertex itself
    int gathers = 0; ///< vec4 of each neighbour
    int stores = 0; ///< vec4 of the vertex
    Around around = Around::Vertex;
    int passes = 1;
    int copies = 0; ///< of a whole pose, before the passes

    auto operator<=>(const Moves &) const = default;
};

/// Kernels that only load and store. They leave nothing useful in "normal" and "triangleHit".
class BareKernels {
public:
    void run(GPUMesh &mesh, const Moves &moves)
    {
        for (int copy = 0; copy < moves.copies; ++copy)
            mesh.copyBuffer(Semantic::kPosition, Semantic::kNormal);
        for (int pass = 0; pass < moves.passes; ++pass)
            dispatch(
                mesh, m_programs[moves], [&] { return source(moves); }, mesh.vertexCount());
    }
    /// One vec4 of each item, or the three corners of each triangle, into groups of 1,024
    /// invocations that wait for each other three times.
    void runReduction(GPUMesh &mesh, int items, bool corners)
    {
        dispatch(
            mesh, m_reductions[corners], [&] { return reduction(corners); }, items);
    }

private:
    using Program = std::unique_ptr<QOpenGLShaderProgram>;

    template <class Source>
    static void dispatch(GPUMesh &mesh, Program &program, Source source, int items)
    {
        if (!program) {
            program = std::make_unique<QOpenGLShaderProgram>();
            program->addShaderFromSourceCode(QOpenGLShader::Compute, source().c_str());
            program->link();
        }
        auto *gl = QOpenGLContext::currentContext()->versionFunctions<QOpenGLFunctions_4_3_Core>();
        gl->initializeOpenGLFunctions();
        mesh.bind();
        program->bind();
        gl->glDispatchCompute(GLuint(groupCount(items)), 1, 1);
        gl->glMemoryBarrier(GL_SHADER_STORAGE_BARRIER_BIT);
        program->release();
    }
    static std::string head()
    {
        std::string text = "#version 430 core\nlayout(local_size_x = 1024) in;\n";
        for (const char *name : { "position", "deltas", "basePoints", "offsetPoints", "normal" })
            text += block(name, "vec4");
        text += "uint item = gl_GlobalInvocationID.x;\n";
        return text;
    }
    static std::string block(const std::string &name, const char *type)
    {
        size_t binding = 0;
        while (QString(kBufferTable[binding].semantic) != QString::fromStdString(name))
            ++binding;
        return "layout(std430, binding = " + std::to_string(binding) + ") buffer B" + name + " { " +
            type + ' ' + name + "[]; };\n";
    }
    static std::string source(const Moves &moves)
    {
        static const char *const poses[] = { "position", "basePoints", "offsetPoints", "deltas" };
        const std::string table =
            moves.around == Moves::Around::Springs ? "constraints" : "ringVertices";
        std::string text = head() + block(table, "uint");
        text +=
            "void main() {\n    if (item >= position.length()) return;\n    vec4 s = vec4(0);\n";
        for (int i = 0; i < moves.loads; ++i)
            text += std::string("    s += ") + poses[i] + "[item];\n";
        if (moves.gathers) {
            text += "    uint lists = uint(position.length()) + 1u;\n    uint end = " + table +
                "[item + 1u];\n    for (uint k = " + table + "[item]; k < end; ++k) {\n" +
                "        uint n = " + table + "[lists + k] & 0x7fffffffu;\n";
            for (int i = 0; i < moves.gathers; ++i)
                text += std::string("        s += ") + poses[i] + "[n];\n";
            text += "    }\n";
        }
        for (int i = 0; i < moves.stores; ++i)
            text +=
                "    normal[" + std::string(i ? "position.length() - 1 - " : "") + "item] = s;\n";
        return text + "}\n";
    }
    static std::string reduction(bool corners)
    {
        const std::string count = corners ? "triangleVertices.length() / 3" : "position.length()";
        std::string text = head() + block("triangleVertices", "uint") +
            block("triangleHit", "vec2") +
            "shared vec4 all[1024];\n"
            "void main() {\n    uint lane = gl_LocalInvocationID.x;\n    vec4 s = vec4(0);\n"
            "    if (item < " +
            count + ")\n        s = ";
        text += corners ? "position[triangleVertices[3u * item]] + "
                          "position[triangleVertices[3u * item + 1u]] + "
                          "position[triangleVertices[3u * item + 2u]];\n"
                        : "position[item];\n";
        for (const char *step : { "all[lane] = s;", "s += all[lane ^ 512u];", "all[lane] = s;" })
            text += std::string("    ") + step + "\n    memoryBarrierShared();\n    barrier();\n";
        return text +
            "    if (lane == 0u && gl_WorkGroupID.x < triangleHit.length())\n"
            "        triangleHit[gl_WorkGroupID.x] = (s + all[1]).xy;\n}\n";
    }

    std::map<Moves, Program> m_programs;
    Program m_reductions[2];
};
