#include "bake/BakedArchive.h"

#include <Alembic/AbcCoreOgawa/ReadWrite.h>

#include <algorithm>

namespace {

namespace Abc = Alembic::Abc;
namespace AbcA = Alembic::AbcCoreAbstract;

Abc::OArchive openArchive(const SourceTree &source, std::ostream &stream)
{
    Abc::IArchive archive = source.archive(); // a handle
    const AbcA::MetaData &metaData = archive.getPtr()->getMetaData();
    return Abc::OArchive(Alembic::AbcCoreOgawa::WriteArchive()(&stream, metaData));
}

} // namespace

BakedArchive::BakedArchive(const SourceTree &source, const BakePlan &plan, std::ostream &stream)
    : m_source(source)
    , m_plan(plan)
    , m_archive(openArchive(source, stream))
    , m_copy(m_archive)
    , m_childBounds(source, plan)
{
    Abc::IArchive archive = source.archive();
    for (Alembic::Util::uint32_t i = 0; i < archive.getNumTimeSamplings(); ++i)
        m_archive.addTimeSampling(*archive.getTimeSampling(i)); // in the source's order
    createObjects();
}

/// An object holds its parent: the deepest go first, none inside the end of another.
void BakedArchive::close()
{
    m_childBounds.release();
    for (BakedMesh &mesh : m_meshes)
        mesh.release();
    while (!m_objects.empty())
        m_objects.pop_back();
    m_archive.reset();
}

void BakedArchive::createObjects()
{
    const auto &nodes = m_source.nodes();
    const std::vector<bool> needed = neededNodes();
    m_objects.resize(nodes.size());
    m_open.resize(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const SourceNode &node = nodes[i];
        const bool written = needed[i] && (node.parent < 0 || m_open[std::size_t(node.parent)]);
        m_open[i] = written && (!node.object.isInstanceRoot() || isOwn(node.object));
        if (written)
            m_objects[i] = createObject(node);
        if (node.mesh >= 0)
            m_meshes.emplace_back(m_source.meshes()[std::size_t(node.mesh)], m_plan,
                                  m_open[i] ? m_objects[i] : nullptr);
        else if (m_open[i] && !m_plan.pointsOnly)
            copyProperties(int(i), m_objects[i]);
    }
}

/// An instance that stays one keeps its own meta data and its one property, the way to its source.
BakedArchive::ObjectWriter BakedArchive::createObject(const SourceNode &node)
{
    if (node.parent < 0)
        return m_archive.getTop().getPtr();
    const ObjectWriter &parent = m_objects[std::size_t(node.parent)];
    const bool instance = node.object.isInstanceRoot() && !isOwn(node.object);
    const AbcA::ObjectReaderPtr from =
        instance ? node.object.getInstancePtr() : node.object.getPtr();
    ObjectWriter object = parent->createChild({ node.object.getName(), from->getMetaData() });
    if (instance)
        m_copy.copyAll(from->getProperties(), object->getProperties());
    return object;
}

bool BakedArchive::isOwn(const Abc::IObject &instance) const
{
    const auto &own = m_plan.ownInstances;
    return m_plan.pointsOnly ||
        std::find(own.begin(), own.end(), instance.getFullName()) != own.end();
}

/// All, or those that lead to a wanted mesh.
std::vector<bool> BakedArchive::neededNodes() const
{
    const auto &nodes = m_source.nodes();
    std::vector<bool> needed(nodes.size(), !m_plan.pointsOnly);
    needed.front() = true;
    for (std::size_t i = nodes.size(); m_plan.pointsOnly && i-- > 1;) {
        if (nodes[i].mesh >= 0 && m_plan.wanted[std::size_t(nodes[i].mesh)])
            needed[i] = true;
        if (needed[i])
            needed[std::size_t(nodes[i].parent)] = true;
    }
    return needed;
}

void BakedArchive::copyProperties(int node, const ObjectWriter &object)
{
    const auto keep = [this, node](const PropertyCopy::Reader &from,
                                   const PropertyCopy::Header &header,
                                   const PropertyCopy::Writer &to) {
        return m_childBounds.keep(m_copy, node, from, header, to);
    };
    const auto topLevel = [&](const PropertyCopy::Reader &from, const PropertyCopy::Header &header,
                              const PropertyCopy::Writer &to) {
        const std::string &name = header.getName();
        if (node == 0 && name == PartMark::kProperty)
            return true;
        if (!header.isCompound())
            return keep(from, header, to);
        m_copy.copyAll(from->getCompoundProperty(name),
                       to->createCompoundProperty(name, header.getMetaData()), keep);
        return true;
    };
    const Abc::IObject &source = m_source.nodes()[std::size_t(node)].object;
    m_copy.copyAll(source.getProperties().getPtr(), object->getProperties(), topLevel);
}

void BakedArchive::writeFrame(int mesh, int frame, const std::vector<Imath::V3f> *points)
{
    m_meshes[std::size_t(mesh)].writeFrame(m_copy, frame, points);
}

void BakedArchive::finish(const PartMark *mark)
{
    for (BakedMesh &mesh : m_meshes)
        mesh.finish(m_copy);
    m_childBounds.finish(m_copy, shownMeshes());
    if (mark)
        mark->write(m_archive.getTop());
}

/// For each mesh the one that shows in its place: below an instance, what it mirrors.
std::vector<const BakedMesh *> BakedArchive::shownMeshes() const
{
    const std::vector<MirroredMesh> pairs = m_source.mirroredMeshes();
    const auto mirrored = [&](int mesh) {
        for (const MirroredMesh &pair : pairs)
            if (pair.mesh == mesh && m_objects[std::size_t(pair.root)] &&
                !m_open[std::size_t(pair.root)])
                return pair.mirrored;
        return mesh;
    };
    std::vector<const BakedMesh *> shown;
    for (std::size_t i = 0; i < m_meshes.size(); ++i) {
        int mesh = int(i);
        for (int next = mirrored(mesh); next != mesh; next = mirrored(mesh))
            mesh = next;
        shown.push_back(&m_meshes[std::size_t(mesh)]);
    }
    return shown;
}

int BakedArchive::lostVelocitiesCount() const
{
    return int(std::count_if(m_meshes.begin(), m_meshes.end(),
                             [](const BakedMesh &mesh) { return mesh.lostVelocities(); }));
}

int BakedArchive::lostNormalsCount() const
{
    return int(std::count_if(m_meshes.begin(), m_meshes.end(),
                             [](const BakedMesh &mesh) { return mesh.lostNormals(); }));
}
