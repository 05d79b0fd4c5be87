#include "bake/BakedMesh.h"

#include "bake/VertexNormals.h"

#include <Alembic/AbcGeom/IPolyMesh.h>

#include <cmath>

namespace {

namespace Abc = Alembic::Abc;
namespace AbcA = Alembic::AbcCoreAbstract;
namespace AbcGeom = Alembic::AbcGeom;

Imath::Box3d boxOf(const std::vector<Imath::V3f> &points)
{
    Imath::Box3d box;
    for (const Imath::V3f &point : points)
        if (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z))
            box.extendBy(Imath::V3d(point));
    return box;
}

template <class Property>
std::vector<typename Property::value_type> readFaces(const SourceMesh &mesh, const char *name,
                                                     double seconds)
{
    const Property property(mesh.geometry, name, Abc::kNoMatching);
    const auto items = guarded::readArray(property, guarded::at(property, seconds));
    return { items.begin(), items.end() };
}

} // namespace

BakedMesh::BakedMesh(const SourceMesh &source, const BakePlan &plan, AbcA::ObjectWriterPtr object)
    : m_source(source)
    , m_plan(plan)
    , m_object(std::move(object))
{
}

void BakedMesh::writeFrame(PropertyCopy &copy, int frame, const std::vector<Imath::V3f> *points)
{
    if (!m_object || (!points && !rewritten()))
        return;
    if (!rewritten())
        rewrite(copy, frame);
    writeSample(frame, points ? *points : m_source.points(m_plan.seconds(frame)));
}

void BakedMesh::finish(PropertyCopy &copy)
{
    if (!m_object || (m_plan.pointsOnly && !rewritten()))
        return;
    if (!rewritten())
        return copy.copyAll(m_source.geometry.getObject().getProperties().getPtr(),
                            m_object->getProperties());
    for (const Imath::Box3d &frame : m_boxes)
        if (m_bounds)
            m_bounds->setSample(&frame);
}

/// Before the objects above, which would otherwise go inside this one's end.
void BakedMesh::release()
{
    m_normals.reset();
    m_bounds.reset();
    m_positions.reset();
    m_object.reset();
}

const Imath::Box3d &BakedMesh::box(int frame) const
{
    return m_boxes[std::size_t(frame - m_plan.frames.first)];
}

void BakedMesh::rewrite(PropertyCopy &copy, int frame)
{
    const auto geometry = m_source.geometry.getName();
    m_sampling = copy.sampling(
        AbcA::TimeSampling(1.0 / m_plan.framesPerSecond, m_plan.seconds(m_plan.frames.first)));
    const auto writeGeometry = [&](const PropertyCopy::Reader &from,
                                   const PropertyCopy::Header &header,
                                   const PropertyCopy::Writer &to) {
        if (header.getName() != geometry)
            return m_plan.pointsOnly;
        openGeometry(copy, from->getCompoundProperty(geometry),
                     to->createCompoundProperty(geometry, header.getMetaData()));
        return true;
    };
    copy.copyAll(m_source.geometry.getObject().getProperties().getPtr(), m_object->getProperties(),
                 writeGeometry);
    for (int earlier = m_plan.frames.first; earlier < frame; ++earlier)
        writeSample(earlier, m_source.points(m_plan.seconds(earlier)));
}

void BakedMesh::openGeometry(PropertyCopy &copy, const PropertyCopy::Reader &from,
                             const PropertyCopy::Writer &to)
{
    copy.copyAll(from, to, [this](const auto &, const auto &header, const auto &writer) {
        return replace(header, writer);
    });
    if (m_plan.normals && m_source.isPolygonMesh && !m_plan.pointsOnly && !m_normals.valid())
        openNormals(to);
}

/// True for a property that other points make untrue.
bool BakedMesh::replace(const PropertyCopy::Header &header, const PropertyCopy::Writer &to)
{
    const std::string &name = header.getName();
    if (name == "P") {
        m_positions =
            to->createArrayProperty(name, header.getMetaData(), header.getDataType(), m_sampling);
        return true;
    }
    if (m_plan.pointsOnly)
        return true;
    if (name == ".selfBnds" && header.isScalar()) {
        if (header.getDataType() == Abc::Box3dTPTraits::dataType())
            m_bounds = to->createScalarProperty(name, header.getMetaData(), header.getDataType(),
                                                m_sampling);
        return true;
    }
    if (name == ".velocities") {
        m_lostVelocities = true;
        return true;
    }
    if (name != "N" || !m_source.isPolygonMesh)
        return false;
    if (m_plan.normals)
        openNormals(to);
    else
        m_lostNormals = true;
    return true;
}

void BakedMesh::openNormals(const PropertyCopy::Writer &to)
{
    m_normals = AbcGeom::ON3fGeomParam(to, "N", false, AbcGeom::kVertexScope, 1, m_sampling);
}

void BakedMesh::writeSample(int frame, const std::vector<Imath::V3f> &points)
{
    m_positions->setSample(AbcA::ArraySample(points.data(), Abc::P3fTPTraits::dataType(),
                                             Alembic::Util::Dimensions(points.size())));
    m_boxes.push_back(boxOf(points));
    if (m_normals.valid())
        writeNormals(m_plan.seconds(frame), points);
}

void BakedMesh::writeNormals(double seconds, const std::vector<Imath::V3f> &points)
{
    const auto normals = vertexNormals(
        points, readFaces<Abc::IInt32ArrayProperty>(m_source, ".faceIndices", seconds),
        readFaces<Abc::IInt32ArrayProperty>(m_source, ".faceCounts", seconds));
    m_normals.set({ Abc::N3fArraySample(normals), AbcGeom::kVertexScope });
}
