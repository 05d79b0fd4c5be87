#include "layers/Topology.h"
#include "reference/Sculpt.h"
#include "support/Compare.h"
#include "support/Stage.h"

#include <QTabletEvent>
#include <QtMath>

#include <limits>

using reference::Dab;
using reference::Vec;

namespace {

const QPoint kPress(180, 190);
const QPoint kStamp(187, 188); // the first pixel beyond the spacing, so one stamp

Vec toVec(const QVector3D &v) { return { v.x(), v.y(), v.z() }; }

/// World units that a pixel spans one unit away from the eye.
double pixelSize()
{
    const double halfAngle = qDegreesToRadians(double(Stage::view()->camera().fieldOfView())) / 2;
    return 2 * std::tan(halfAngle) / Stage::view()->height();
}

// The mouse ray from the lens and the view: independent of the projection's inverse.
struct Ray {
    Vec eye, along; ///< one unit deep

    explicit Ray(const QPointF &pixel)
    {
        const QPointF aside = (pixel - QRectF(Stage::view()->rect()).center()) * pixelSize();
        const QMatrix4x4 toWorld = Stage::view()->camera().view().inverted();
        eye = toVec(toWorld.map(QVector3D()));
        along = toVec(toWorld.mapVector({ float(aside.x()), float(-aside.y()), -1 }));
    }
    /// Of the nearest triangle.
    double depth(const reference::Pose &pose, std::span<const quint32> t) const
    {
        double nearest = std::numeric_limits<double>::infinity();
        for (size_t k = 0; k + 2 < t.size(); k += 3) {
            const auto crossing = reference::crossing(eye, eye + along * 1e4, pose[t[k]],
                                                      pose[t[k + 1]], pose[t[k + 2]]);
            if (crossing.inside >= 0)
                nearest = std::min(nearest, crossing.distance);
        }
        return nearest / reference::length(along);
    }
};

void pressPen(double pressure)
{
    QTabletEvent event(QEvent::TabletPress, kPress, kPress, QTabletEvent::Stylus, QTabletEvent::Pen,
                       pressure, 0, 0, 0, 0, 0, Qt::NoModifier, 1, Qt::LeftButton, Qt::LeftButton);
    QApplication::sendEvent(Stage::view(), &event);
    QVERIFY(!event.isAccepted()); // the mouse events that carry the stroke follow
}

}

/// One dab of every brush, asked for by mouse and seen in the layer, against the plain loops.
class DabTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { NEEDS_GL(m_stage.hasGL()); }
    void oneDabLikeTheReference()
    {
        std::vector<Row> rows { { 2, BrushType::Fix, {}, Qt::Key_T },
                                { 2, BrushType::Inflate, {}, Qt::Key_R },
                                { 2, BrushType::Standard, {}, {}, 0.25f } };
        for (int brush = 0; brush <= 8; ++brush) {
            rows.push_back({ brush, BrushType(brush) });
            rows.push_back({ brush, BrushType(brush), Qt::ControlModifier });
            if (brush < 8)
                rows.push_back({ brush, BrushType::Smooth, Qt::ShiftModifier });
        }
        for (const int mesh : { 0, 1, 2 }) {
            if (mesh == 2 && realArchives().isEmpty())
                continue;
            prepare(mesh);
            for (const Row &row : rows)
                QVERIFY2(matches(row),
                         qPrintable(QString::asprintf("mesh %d, brush %d as %d, modifiers %x", mesh,
                                                      row.shelf, int(row.brush), int(row.held))));
        }
    }

private:
    struct Row {
        int shelf; ///< the brush chosen before the press
        BrushType brush; ///< the one that the dab is done with
        Qt::KeyboardModifiers held {};
        Qt::Key key {}; ///< pressed between the press and the dab
        float pressure = 1.0f;
    };

    static LayerData &data() { return *Global::currentLayer()->data(); }
    /// A layer with something to smooth, to erase and to rebuild, and a mask with every value.
    void prepare(int mesh)
    {
        if (mesh == 2)
            Stage::open(realArchives() + QStringLiteral("testUsdAbcIsConstant.abc"));
        else
            m_stage.import(mesh == 1 ? testGrid(40) : testSphere(48, 32));
        Stage::addLayer(LayerKind::Sculpt);
        Global::setBrushRadius(45);
        Global::setBrushStrength(0.8f);
        Global::setCurrentBrush(3);
        Stage::stroke(kPress, kStamp, 4);
        std::vector<float> mask(data().basePoints().size());
        for (size_t i = 0; i < mask.size(); ++i)
            mask[i] = 0.1f * float(i % 11);
        data().setMask(mask);
        Global::evaluateLayers(true);
    }

    /// Press and one stamp, as the dab's steps say.
    Dab expected(const BrushSettings &settings) const
    {
        const Topology &topology = *Global::topology();
        Dab dab { { topology.rings(), size_t(topology.vertexCount()), topology.triangles() } };
        dab.brush = settings;
        dab.position = dab.backupPoints = dab.offsetPoints = reference::toPose(Stage::positions());
        dab.normal = reference::toPose(Stage::read<QVector4D>(Semantic::kNormal));
        dab.deltas.resize(dab.position.size());
        dab.mask.assign(data().mask().begin(), data().mask().end());
        if (settings.type == BrushType::Fix)
            dab.offsetPoints = reference::toPose(Global::mesh()->restPoints());
        if (settings.type == BrushType::Erase) {
            dab.backupPoints = reference::toPose(data().basePoints());
            dab.offsetPoints = reference::toPose(data().offsetPoints());
        }
        const Ray press(kPress), stamp(kStamp);
        const double depth = press.depth(dab.position, topology.triangles());
        const double radius = Global::brushRadius() * pixelSize() * depth;
        dab.brush.radius = float(radius);
        const Vec pressHit = press.eye + press.along * depth;
        Vec hit = stamp.eye + stamp.along * stamp.depth(dab.position, topology.triangles());
        if (settings.type == BrushType::Move) {
            // The pointer moves the hit point over a plane through it that faces the ray, or with
            // Control the viewer.
            const QPointF centre = QRectF(Stage::view()->rect()).center();
            const Vec facing = settings.control ? Ray(centre).along : press.along;
            const double share = dot(pressHit - stamp.eye, facing) / dot(stamp.along, facing);
            dab.moveVector = stamp.eye + stamp.along * share - pressHit;
            hit = pressHit;
        }
        for (const Vec &p : dab.position)
            dab.falloff.push_back(reference::brushWeight(hit, p, radius));
        const auto pressArea = reference::brushArea(pressHit, radius, dab.position, dab.normal);
        dab.area = reference::brushArea(hit, radius, dab.position, dab.normal);
        dab.frame =
            reference::nextFrame(reference::nextFrame(pressHit, pressArea).origin, dab.area);
        return dab;
    }

    bool matches(const Row &row) const
    {
        BrushSettings settings;
        settings.type = row.brush;
        settings.intensity = Global::brushStrength();
        settings.pressure = row.pressure;
        settings.control = row.held.testFlag(Qt::ControlModifier);
        const auto shape = QLatin1String(row.brush == BrushType::Clay ? "square" : "dot");
        const reference::Alpha alpha(
            QStringLiteral(":/alphas2d/Alphas/alphas2d/%1.png").arg(shape));
        const Dab after = reference::sculpted(expected(settings), alpha);

        const PointArray points = data().offsetPoints();
        const std::vector<float> mask = data().mask();
        Global::setCurrentBrush(row.shelf);
        Stage::press(kPress, row.held);
        if (row.pressure < 1.0f)
            pressPen(double(row.pressure));
        if (row.key)
            Driver::key(Stage::view(), row.key);
        const bool chosen = Global::currentBrush() == int(row.brush);
        if (row.brush == BrushType::Move)
            Stage::move(kStamp + QPoint(9, 5), row.held); // and back: by what the pointer moved
        Stage::move(kStamp, row.held);
        Stage::release(kStamp, row.held);
        const PointArray moved = Stage::difference(data().offsetPoints(), points);
        const std::vector<float> painted = data().mask();
        Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
        if (!chosen || !Stage::idle(row.shelf) || data().mask() != mask)
            return false;
        if (row.brush == BrushType::Mask)
            return painted != mask && valuesMatch(painted, after.mask, 2e-4);
        // A hit some units from the eye in single precision; and a weight beside 0.0001, under
        // which a vertex stays, may fall on either side: that much of a displacement of up to 0.3.
        const double tolerance = 4e-5;
        const auto shows = [&](const Vec &d) { return reference::length(d) > 50 * tolerance; };
        return std::any_of(after.deltas.begin(), after.deltas.end(), shows) &&
            pointsMatch(moved, after.deltas, tolerance);
    }

    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(DabTest)
#include "DabTest.moc"
