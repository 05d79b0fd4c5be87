#pragma once

#include "alembic/AlembicFile.h"
#include "alembic/FrameRate.h"
#include "alembic/GuardedSamples.h"
#include "app/FileStamp.h"

#include <Alembic/Abc/IArchive.h>
#include <Alembic/AbcGeom/IPolyMesh.h>

#include <optional>
#include <string>
#include <utility>

/// A transform of the walk; `parent` is the next transform above it on the path walked, or -1. An
/// instance's own parent would be that of its source, so the path has to be kept here.
struct ArchiveTransform {
    guarded::TransformSamples samples;
    int parent = -1;
};

struct ArchiveMesh {
    Alembic::AbcGeom::IPolyMesh object;
    int transform = -1; ///< the nearest above, or -1

    QString name() const { return QString::fromStdString(object.getFullName()); }
    using Positions = guarded::ArrayItems<Alembic::Abc::IP3fArrayProperty>;
    Positions points(const Alembic::Abc::ISampleSelector &when) const;
    Positions pointsAt(double seconds) const;
};

struct ArchiveCamera {
    std::string name;
    guarded::CameraSamples samples;
    int transform = -1; ///< the nearest above, or -1
};

/// World matrices at one time, for row vectors. Each transform is read at most once.
class WorldMatrices {
public:
    WorldMatrices(const std::vector<ArchiveTransform> &transforms, double seconds);
    /// Of a transform, or the identity for -1. Throws what reading one of the chain throws.
    Imath::M44d of(int transform);

private:
    const std::vector<ArchiveTransform> &m_transforms;
    double m_seconds;
    std::vector<std::optional<Imath::M44d>> m_matrices;
    std::vector<int> m_chain;
};

/// Objects of one hierarchy, parents before children, let go from the end on. An object of the
/// library holds its parent and drops it when it goes: the last one of a deep hierarchy would take
/// down each level inside the destructor of the one below.
template <class Item> class DeepestFirst : public std::vector<Item> {
public:
    ~DeepestFirst()
    {
        while (!this->empty())
            this->pop_back();
    }
};

/// What the walk of an open archive collected. Throws, as the library does.
struct AlembicFile::Archive {
    explicit Archive(const QByteArray &filePath);
    /// First and last sample time; 0 and 0 when no sampling holds a sample.
    std::pair<double, double> timeRange();
    RateEvidence rateEvidence();
    /// One debug line for each time at which the file is found to be another than the one opened.
    void tellChange();
    /// Points of all meshes' first samples, instances each counted.
    quint64 pointCount = 0;

    QString path;
    FileStamp stamp; ///< the file as it was before it was opened, or as it was last told to be
    Alembic::Abc::IArchive archive;
    /// An object each few hundred levels, which go after all that hangs below.
    DeepestFirst<Alembic::Abc::IObject> anchors;
    std::vector<Object> objects;
    std::vector<ArchiveTransform> transforms; ///< each after those above it
    std::vector<ArchiveMesh> meshes;
    std::vector<ArchiveCamera> cameras;

private:
    double hintedRate();
    double sampledRate() const;

    struct Level;
    struct Walk;

    void walk();
    void enter(Walk &walk, const Alembic::Abc::IObject &object);
    void leave(Walk &walk);
    void collect(const Alembic::Abc::IObject &object, const QString &parentName, int &transform);
    void collectMesh(const Alembic::Abc::IObject &object, int transform,
                     Alembic::Abc::SchemaInterpMatching matching);
    void count(const ArchiveMesh &mesh);

    quint64 m_neededMemory = 0; ///< bytes
    quint64 m_freeMemory = 0; ///< bytes, as the walk began
};
