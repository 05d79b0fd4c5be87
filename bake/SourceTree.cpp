#include "bake/SourceTree.h"

#include "bake/BakeError.h"

#include <QFile>

#include <Alembic/AbcCoreOgawa/ReadWrite.h>
#include <Alembic/AbcGeom/IPolyMesh.h>
#include <Alembic/AbcGeom/ISubD.h>
#include <Alembic/AbcGeom/IXform.h>

namespace {

namespace Abc = Alembic::Abc;
namespace AbcGeom = Alembic::AbcGeom;

constexpr std::size_t kMaxObjects = 1000000;
constexpr std::size_t kMaxDepth = 16384;

Abc::IArchive openArchive(const QString &path)
{
    Abc::IArchive archive(Alembic::AbcCoreOgawa::ReadArchive(1, false),
                          QFile::encodeName(path).toStdString(), Abc::ErrorHandler::kThrowPolicy);
    if (!archive.valid())
        throw BakeError(QStringLiteral("%1 is not an archive of this kind").arg(path));
    return archive;
}

/// Where the walk stands: a node, and the next of its children.
struct Level {
    int node = 0;
    std::size_t nextChild = 0;
};

} // namespace

std::vector<Imath::V3f> SourceMesh::points(double seconds) const
{
    const auto items = guarded::readArray(positions, guarded::at(positions, seconds));
    return { items.begin(), items.end() };
}

bool SourceMesh::alwaysHas(int pointCount) const
{
    const auto &reader = positions.getPtr();
    const auto samples = Abc::index_t(reader->isConstant() ? 1 : reader->getNumSamples());
    for (Abc::index_t i = 0; i < samples; ++i) {
        Alembic::AbcCoreAbstract::ArraySampleKey key;
        if (!reader->getKey(i, key) || key.numBytes != std::size_t(pointCount) * sizeof(Imath::V3f))
            return false;
    }
    return true;
}

SourceTree::SourceTree(const QString &path)
    : m_archive(openArchive(path))
{
    enter(m_archive.getTop(), -1);
    std::vector<Level> levels(1);
    while (!levels.empty()) {
        Level &level = levels.back();
        const Abc::IObject object = m_nodes[std::size_t(level.node)].object;
        if (level.nextChild == object.getNumChildren()) {
            levels.pop_back();
            continue;
        }
        enter(object.getChild(level.nextChild++), level.node);
        levels.push_back({ int(m_nodes.size()) - 1, 0 });
        if (m_nodes.size() > kMaxObjects || levels.size() > kMaxDepth)
            throw BakeError(QStringLiteral("the hierarchy of %1 does not end").arg(path));
    }
}

void SourceTree::enter(const Abc::IObject &object, int parent)
{
    SourceNode node { object, parent, parent < 0 ? -1 : m_nodes[std::size_t(parent)].transform };
    // A part of a bake that holds only points has transforms without their values.
    if (AbcGeom::IXform::matches(object.getMetaData(), Abc::kSchemaTitleMatching) &&
        object.getProperties().getPropertyHeader(AbcGeom::IXformSchema::getDefaultSchemaName())) {
        m_transforms.push_back({ guarded::TransformSamples(object), node.transform });
        node.transform = int(m_transforms.size()) - 1;
        node.isTransform = true;
    }
    collectMesh(node);
    m_nodes.push_back(node);
}

void SourceTree::collectMesh(SourceNode &node)
{
    const auto &metaData = node.object.getMetaData();
    const bool polygons = AbcGeom::IPolyMesh::matches(metaData, Abc::kSchemaTitleMatching);
    if (!polygons && !AbcGeom::ISubD::matches(metaData, Abc::kSchemaTitleMatching))
        return;
    const Abc::ICompoundProperty top = node.object.getProperties();
    const std::string name = AbcGeom::IPolyMeshSchema::getDefaultSchemaName();
    const auto *header = top.getPropertyHeader(name);
    if (!header || !header->isCompound())
        return;
    SourceMesh mesh { node.object.getFullName(), int(m_nodes.size()), polygons, { top, name }, {} };
    const auto *points = mesh.geometry.getPropertyHeader("P");
    if (!points || !points->isArray() || points->getDataType() != Abc::P3fTPTraits::dataType())
        return;
    mesh.positions = Abc::IP3fArrayProperty(mesh.geometry, "P", Abc::kNoMatching);
    node.mesh = int(m_meshes.size());
    m_meshByName[mesh.name] = node.mesh;
    m_meshes.push_back(mesh);
}

int SourceTree::meshNamed(const std::string &name) const
{
    const auto found = m_meshByName.find(name);
    return found == m_meshByName.end() ? -1 : found->second;
}

Imath::M44d SourceTree::placing(const SourceNode &node, WorldMatrices &world, double seconds) const
{
    const int above = node.parent < 0 ? -1 : m_nodes[std::size_t(node.parent)].transform;
    if (!node.isTransform)
        return {};
    const guarded::TransformSamples &samples = m_transforms[std::size_t(node.transform)].samples;
    return samples.inherits(seconds) ? samples.matrix(seconds)
                                     : world.of(node.transform) * world.of(above).inverse();
}

std::vector<MirroredMesh> SourceTree::mirroredMeshes() const
{
    std::vector<MirroredMesh> found;
    for (std::size_t i = 0; i < m_meshes.size(); ++i) {
        for (int at = m_meshes[i].node; at >= 0; at = m_nodes[std::size_t(at)].parent) {
            const Abc::IObject &object = m_nodes[std::size_t(at)].object;
            if (!object.isInstanceRoot())
                continue;
            const std::string below = m_meshes[i].name.substr(object.getFullName().size());
            const int mirrored = meshNamed(object.instanceSourcePath() + below);
            if (mirrored >= 0)
                found.push_back({ int(i), mirrored, at });
        }
    }
    return found;
}

std::string SourceTree::fingerprint() const
{
    Abc::IObject top = m_nodes.front().object;
    Alembic::Util::Digest properties, children;
    if (!top.getPropertiesHash(properties) || !top.getChildrenHash(children))
        throw BakeError(QStringLiteral("the archive bears no hash of its contents"));
    return properties.str() + children.str();
}
