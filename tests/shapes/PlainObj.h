#pragma once

#include <array>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

/// An OBJ reader that is as plain as can be: the C library scans copies of the lines. What it gives
/// is the points of the triangles in file order, nine floats each, nothing shared.
class PlainObj {
public:
    explicit PlainObj(const std::string &text)
    {
        for (size_t start = 0; start < text.size();) {
            const size_t end = std::min(text.find('\n', start), text.size());
            char line[257] = {};
            std::memcpy(line, text.data() + start, std::min<size_t>(end - start, 256));
            readLine(line);
            start = end + 1;
        }
        for (const std::vector<std::array<int, 3>> &face : m_faces)
            expand(face);
    }
    std::vector<float> triangles;

private:
    void readLine(char *line)
    {
        std::array<float, 3> v {};
        if (std::sscanf(line, "v %f %f %f", &v[0], &v[1], &v[2]) == 3)
            m_positions.push_back(v);
        m_textures += std::sscanf(line, "vt %f %f", &v[0], &v[1]) == 2;
        m_normals += std::sscanf(line, "vn %f %f %f", &v[0], &v[1], &v[2]) == 3;
        if (line[0] != 'f' || (line[1] != ' ' && line[1] != '\t'))
            return;
        const std::array<int, 3> counts { int(m_positions.size()), m_textures, m_normals };
        m_faces.emplace_back();
        for (char *word = std::strtok(line + 1, " \t"); word; word = std::strtok(nullptr, " \t")) {
            std::array<int, 3> corner;
            const int scanned = std::sscanf(word, "%d/%d/%d", &corner[0], &corner[1], &corner[2]);
            for (int i = 0; i < 3; ++i)
                corner[i] = i >= scanned ? INT_MAX
                    : corner[i] < 0      ? corner[i] + counts[i]
                                         : corner[i] - 1;
            for (int i = 0; i < scanned; ++i) // before the first: never a missing one
                corner[i] = corner[i] < 0 ? INT_MIN : corner[i];
            if (scanned > 0)
                m_faces.back().push_back(corner);
        }
    }

    void expand(const std::vector<std::array<int, 3>> &face)
    {
        const auto good = [](int index, int count) {
            return index == INT_MAX || (index >= 0 && index < count);
        };
        for (const std::array<int, 3> &corner : face)
            if (!good(corner[0], int(m_positions.size())) || !good(corner[1], m_textures) ||
                !good(corner[2], m_normals))
                return;
        for (size_t i = 2; i < face.size(); ++i)
            for (const size_t corner : { size_t(0), i - 1, i }) {
                const std::array<float, 3> &v = m_positions[size_t(face[corner][0])];
                triangles.insert(triangles.end(), v.begin(), v.end());
            }
    }

    std::vector<std::array<float, 3>> m_positions;
    std::vector<std::vector<std::array<int, 3>>> m_faces;
    int m_textures = 0;
    int m_normals = 0;
};
