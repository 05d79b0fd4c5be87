#include "bake/ChildBounds.h"

#include <Imath/ImathBoxAlgo.h>

namespace {

namespace Abc = Alembic::Abc;

/// The box that a geometric object keeps of itself; empty without one.
Imath::Box3d storedBox(const Abc::IObject &object, double seconds)
{
    const Abc::ICompoundProperty top = object.getProperties();
    for (std::size_t i = 0; i < top.getNumProperties(); ++i) {
        if (!top.getPropertyHeader(i).isCompound())
            continue;
        const Abc::ICompoundProperty schema(top, top.getPropertyHeader(i).getName());
        const auto *header = schema.getPropertyHeader(".selfBnds");
        if (!header || !header->isScalar() ||
            header->getDataType() != Abc::Box3dTPTraits::dataType())
            continue;
        Abc::IScalarProperty property(schema, ".selfBnds");
        Imath::Box3d box;
        if (property.getNumSamples() > 0)
            property.get(&box, guarded::at(property, seconds));
        return box;
    }
    return {};
}

} // namespace

ChildBounds::ChildBounds(const SourceTree &source, const BakePlan &plan)
    : m_source(source)
    , m_plan(plan)
{
}

bool ChildBounds::keep(PropertyCopy &copy, int node, const PropertyCopy::Reader &from,
                       const PropertyCopy::Header &header, const PropertyCopy::Writer &to)
{
    if (header.getName() != ".childBnds" || !header.isScalar() ||
        header.getDataType() != Abc::Box3dTPTraits::dataType())
        return false;
    m_entries.push_back(
        { node, from->getScalarProperty(header.getName()),
          to->createScalarProperty(header.getName(), header.getMetaData(), header.getDataType(),
                                   copy.sampling(*header.getTimeSampling())) });
    return true;
}

void ChildBounds::finish(PropertyCopy &copy, const std::vector<const BakedMesh *> &meshes)
{
    const std::vector<bool> changed = changedNodes(meshes);
    std::vector<Entry> rewritten;
    const auto sampling = copy.sampling(Alembic::AbcCoreAbstract::TimeSampling(
        1.0 / m_plan.framesPerSecond, m_plan.seconds(m_plan.frames.first)));
    for (const Entry &entry : m_entries) {
        if (changed[std::size_t(entry.node)] && entry.source->getNumSamples() > 0) {
            entry.writer->setTimeSamplingIndex(sampling);
            rewritten.push_back(entry);
        } else {
            copy.copySamples(*entry.source, *entry.writer);
        }
    }
    if (rewritten.empty())
        return;
    for (int frame = m_plan.frames.first; frame <= m_plan.frames.last; ++frame) {
        const std::vector<Imath::Box3d> below = boxes(frame, meshes);
        for (const Entry &entry : rewritten)
            entry.writer->setSample(&below[std::size_t(entry.node)]);
    }
}

/// Those with a rewritten mesh below.
std::vector<bool> ChildBounds::changedNodes(const std::vector<const BakedMesh *> &meshes) const
{
    const auto &nodes = m_source.nodes();
    std::vector<bool> changed(nodes.size());
    for (std::size_t i = nodes.size(); i-- > 1;) {
        if (changed[i] || (nodes[i].mesh >= 0 && meshes[std::size_t(nodes[i].mesh)]->rewritten()))
            changed[std::size_t(nodes[i].parent)] = true;
    }
    return changed;
}

/// Of everything below each node at a frame. Children come after their parents, so that from the
/// end on every box is whole before it is handed up.
std::vector<Imath::Box3d> ChildBounds::boxes(int frame,
                                             const std::vector<const BakedMesh *> &meshes) const
{
    const auto &nodes = m_source.nodes();
    const double seconds = m_plan.seconds(frame);
    WorldMatrices world = m_source.worldMatrices(seconds);
    std::vector<Imath::Box3d> below(nodes.size());
    for (std::size_t i = nodes.size(); i-- > 1;) {
        const SourceNode &node = nodes[i];
        Imath::Box3d box = below[i];
        const bool rewritten = node.mesh >= 0 && meshes[std::size_t(node.mesh)]->rewritten();
        box.extendBy(rewritten ? meshes[std::size_t(node.mesh)]->box(frame)
                               : ownBox(int(i), seconds));
        if (box.isEmpty())
            continue;
        if (node.isTransform)
            box = Imath::transform(box, m_source.placing(node, world, seconds));
        below[std::size_t(node.parent)].extendBy(box);
    }
    return below;
}

Imath::Box3d ChildBounds::ownBox(int node, double seconds) const
{
    const SourceNode &source = m_source.nodes()[std::size_t(node)];
    Imath::Box3d box = storedBox(source.object, seconds);
    if (box.isEmpty() && source.mesh >= 0)
        for (const Imath::V3f &point : m_source.meshes()[std::size_t(source.mesh)].points(seconds))
            box.extendBy(Imath::V3d(point));
    return box;
}
