#pragma once

#include "alembic/CameraRecord.h"
#include "layers/LayerData.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

class Topology;

/// One open Alembic archive, read-only: its polygon meshes as one merged mesh in world space, its
/// cameras, its time range. Holds no cache of samples. Times are seconds; a time between two
/// samples takes the earlier one. The archive is read through file streams, never a memory map: a
/// cache that is rewritten in place while open must not kill the process.
///
/// Nothing here throws: the library's exceptions end in one debug line that names the file and the
/// library's words. On an invalid archive every query logs "archive is invalid" and leaves its
/// output untouched.
class AlembicFile : public QObject {
    Q_OBJECT

public:
    /// What the walk saw; the numbers are the outliner's item types.
    enum class ObjectType { Other = 0, Mesh = 1, Camera = 2 };
    struct Object {
        QString name;
        QString parentName; ///< empty for the top object
        ObjectType type = ObjectType::Other;
    };

    AlembicFile();
    ~AlembicFile() override;

    /// Replaces the open archive. False when it cannot be opened, and then the earlier archive
    /// stays open as it was. `path` in the file system's own encoding.
    bool open(const QByteArray &path);
    void close();
    bool isValid() const;

    /// Every object of the archive in walk order (depth first, parent before children), the top
    /// object included.
    const std::vector<Object> &objects() const;
    int meshCount() const;
    int cameraCount() const;

    /// First and last sample time over the archive's time samplings; 0 and 0 when none holds a
    /// sample.
    bool timeRange(double &start, double &end) const;
    /// At which frames are to be counted, see alembic/FrameRate.h.
    double frameRate() const;
    /// Replaces `topology` by each mesh's name and point count and the merged face lists of every
    /// mesh's sample 0. Faces that a mesh's indices do not fill are dropped, with a debug line;
    /// those of a mesh that its world matrix mirrors at the start are turned. False with `topology`
    /// untouched when a mesh cannot be read.
    bool fillTopology(Topology &topology) const;
    /// The merged world-space points at a time. False with `out` untouched when a sample cannot be
    /// read.
    bool readPoints(PointArray &out, double seconds) const;
    /// The same for showing: `points` holds those shown last, one per vertex of the topology that
    /// fillTopology() made. A mesh that cannot be read at that time, or whose points are not as
    /// many, stays as it is there, the others move; then false, and one debug line names the mesh.
    /// With nothing shown yet (any other number of points) it stands as in its sample 0.
    bool readPoints(PointArray &points, double seconds, const Topology &topology) const;
    /// The camera of that name, or the first camera when the name is empty or unknown. False with
    /// `target` untouched without a camera.
    bool readCamera(CameraRecord &target, double seconds, const QString &name = QString()) const;

private:
    struct Archive; // the library's types stay in the source

    bool checkValid() const;
    QString failure(const char *action) const;
    QString failureAt(const char *action, double seconds) const;

    std::unique_ptr<Archive> m_archive;
};
