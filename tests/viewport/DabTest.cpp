#include "Stage.h"
#include "reference/Sculpt.h"
#include "support/Compare.h"

#include <QtMath>

#include <limits>

Q_DECLARE_METATYPE(Qt::KeyboardModifiers)

using reference::Dab;
using reference::Vec;

namespace {

Vec toVec(const QVector3D &v) { return { v.x(), v.y(), v.z() }; }

// The mouse ray from the lens and the view: independent of the projection's inverse.
struct Ray {
    Vec nearPoint, farPoint;
};
Ray rayAt(const QPoint &widgetPixel)
{
    const Viewport &view = *Stage::view();
    const double height = view.height(), width = view.width();
    const double slope = std::tan(qDegreesToRadians(double(view.camera().fieldOfView())) / 2);
    const double x = (widgetPixel.x() - width / 2) * 2 / height * slope;
    const double y = (height / 2 - widgetPixel.y()) * 2 / height * slope;
    const QMatrix4x4 toWorld = view.camera().view().inverted();
    const Vec eye = toVec(toWorld.map(QVector3D()));
    const Vec along = toVec(toWorld.mapVector(QVector3D(float(x), float(y), -1)));
    return { eye + along * 0.1, eye + along * 10000.0 };
}

double depthOf(const Vec &point)
{
    const QVector3D p { float(point.x), float(point.y), float(point.z) };
    return -double(Stage::view()->camera().view().map(p).z());
}

Vec hitOf(const Ray &ray, const reference::Pose &pose, const std::vector<quint32> &triangles)
{
    double nearest = std::numeric_limits<double>::infinity();
    for (size_t t = 0; t + 2 < triangles.size(); t += 3) {
        const auto crossing = reference::crossing(ray.nearPoint, ray.farPoint, pose[triangles[t]],
                                                  pose[triangles[t + 1]], pose[triangles[t + 2]]);
        if (crossing.inside >= 0 && crossing.distance < nearest)
            nearest = crossing.distance;
    }
    return ray.nearPoint + reference::normalized(ray.farPoint - ray.nearPoint) * nearest;
}

}

// One dab of every brush, asked for by mouse and seen in the layer, against the plain loops.
class DabTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Stage> m_stage;
    QString m_mesh;
    const QPoint m_press { 180, 190 };
    const QPoint m_stamp { 187, 188 }; ///< the first pixel beyond the spacing, so one stamp

    static LayerData &data() { return *Global::currentLayer()->data(); }

    // Press and one stamp, as the dab's steps say.
    Dab expected(const BrushSettings &settings) const
    {
        const Topology &topology = *Global::topology();
        Dab dab { { topology.rings(), size_t(topology.vertexCount()), topology.triangles() },
                  {},
                  {},
                  {},
                  {},
                  {},
                  {},
                  {},
                  {},
                  {},
                  settings,
                  {} };
        dab.position = reference::toPose(Stage::positions());
        dab.normal = reference::toPose(Stage::read<QVector4D>(Semantic::kNormal));
        dab.deltas.resize(dab.position.size());
        dab.backupPoints = dab.position;
        dab.offsetPoints = dab.position;
        dab.mask.assign(dab.position.size(), 0.0);
        if (data().mask().size() == dab.position.size())
            dab.mask.assign(data().mask().begin(), data().mask().end());
        if (settings.type == BrushType::Fix)
            dab.offsetPoints = reference::toPose(Global::mesh()->restPoints());
        if (settings.type == BrushType::Erase) {
            dab.backupPoints = reference::toPose(data().basePoints());
            dab.offsetPoints = reference::toPose(data().offsetPoints());
        }
        const Vec pressHit = hitOf(rayAt(m_press), dab.position, topology.triangles());
        const double slope =
            std::tan(qDegreesToRadians(double(Stage::view()->camera().fieldOfView())) / 2);
        const double radius =
            Global::brushRadius() * 2 * depthOf(pressHit) * slope / Stage::view()->height();
        dab.brush.radius = float(radius);
        const bool moves = settings.type == BrushType::Move;
        const Vec hit =
            moves ? pressHit : hitOf(rayAt(m_stamp), dab.position, topology.triangles());
        for (const Vec &p : dab.position)
            dab.falloff.push_back(reference::brushWeight(hit, p, radius));
        const auto pressArea = reference::brushArea(pressHit, radius, dab.position, dab.normal);
        const auto pressFrame = reference::nextFrame(pressHit, pressArea);
        dab.area = reference::brushArea(hit, radius, dab.position, dab.normal);
        dab.frame = reference::nextFrame(pressFrame.origin, dab.area);
        if (moves)
            dab.moveVector = moveVector(pressHit, settings.control);
        return dab;
    }

    Vec moveVector(const Vec &pressHit, bool control) const
    {
        const Ray press = rayAt(m_press), stamp = rayAt(m_stamp);
        const QMatrix4x4 toWorld = Stage::view()->camera().view().inverted();
        const Vec normal = control ? toVec(toWorld.mapVector({ 0, 0, 1 }))
                                   : reference::normalized(press.nearPoint - press.farPoint);
        const Vec along = stamp.farPoint - stamp.nearPoint;
        const double share =
            reference::dot(pressHit - stamp.nearPoint, normal) / reference::dot(along, normal);
        return stamp.nearPoint + along * share - pressHit;
    }

    /// A layer with something to smooth, to erase and to rebuild, and a mask with every value.
    void prepare(const QString &mesh)
    {
        if (m_mesh == mesh)
            return;
        m_mesh = mesh;
        if (mesh == QLatin1String("sphere"))
            m_stage->import(testSphere(48, 32));
        else if (mesh == QLatin1String("sheet"))
            m_stage->import(testGrid(40));
        else
            Stage::open(qEnvironmentVariable("PLEXMOLD_REAL_ARCHIVES") + QLatin1Char('/') + mesh);
        m_stage->addLayer(LayerKind::Sculpt);
        Global::setBrushRadius(45);
        Global::setBrushStrength(0.8f);
        Global::setCurrentBrush(3);
        Stage::stroke(m_press, m_stamp, 4);
        std::vector<float> mask;
        for (size_t i = 0; i < data().basePoints().size(); ++i)
            mask.push_back(0.1f * float(i % 11));
        data().setMask(mask);
        Global::evaluateLayers(true);
    }

private slots:
    void initTestCase()
    {
        m_stage = std::make_unique<Stage>();
        SKIP_WITHOUT_GL(*m_stage);
    }
    void cleanupTestCase() { m_stage.reset(); }

    void oneDabLikeTheReference_data()
    {
        QTest::addColumn<QString>("mesh");
        QTest::addColumn<int>("shelf");
        QTest::addColumn<int>("brush");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        const Qt::KeyboardModifiers none, shift = Qt::ShiftModifier, control = Qt::ControlModifier;
        QStringList meshes { QStringLiteral("sphere"), QStringLiteral("sheet") };
        if (qEnvironmentVariableIsSet("PLEXMOLD_REAL_ARCHIVES"))
            meshes << QStringLiteral("testUsdAbcIsConstant.abc");
        for (const QString &mesh : meshes) {
            for (int brush = 0; brush <= 8; ++brush) {
                QTest::addRow("%s %d", qPrintable(mesh), brush) << mesh << brush << brush << none;
                QTest::addRow("%s %d control", qPrintable(mesh), brush)
                    << mesh << brush << brush << control;
                if (brush < 8)
                    QTest::addRow("%s %d shift", qPrintable(mesh), brush)
                        << mesh << brush << 10 << shift;
            }
        }
    }
    void oneDabLikeTheReference()
    {
        QFETCH(const QString, mesh);
        QFETCH(const int, shelf);
        QFETCH(const int, brush);
        QFETCH(const Qt::KeyboardModifiers, modifiers);
        prepare(mesh);
        BrushSettings settings;
        settings.type = BrushType(brush);
        settings.intensity = Global::brushStrength();
        settings.control = modifiers.testFlag(Qt::ControlModifier);
        const QString alphaName = brush == 0 ? QStringLiteral("square") : QStringLiteral("dot");
        const reference::Alpha alpha(
            QStringLiteral(":/alphas2d/Alphas/alphas2d/%1.png").arg(alphaName));
        const Dab after = reference::sculpted(expected(settings), alpha);

        const PointArray points = data().offsetPoints();
        const std::vector<float> mask = data().mask();
        Global::setCurrentBrush(shelf);
        Stage::press(m_press, modifiers);
        QCOMPARE(Global::currentBrush(), brush);
        Stage::move(m_stamp, modifiers);
        Stage::release(m_stamp, modifiers);

        // A hit some units from the eye in single precision; and a weight beside 0.0001, under
        // which a vertex stays, may fall on either side: that much of a way of up to 0.3.
        const double tolerance = 4e-5;
        if (brush == 8) {
            QVERIFY(valuesMatch(data().mask(), after.mask, 2e-4));
            QVERIFY(data().mask() != mask);
        } else {
            double most = 0;
            for (const Vec &d : after.deltas)
                most = std::max(most, reference::length(d));
            QVERIFY(most > 50 * tolerance);
            QVERIFY(pointsMatch(Stage::difference(data().offsetPoints(), points), after.deltas,
                                tolerance));
        }
        Driver::key(Stage::view(), Qt::Key_Z, Qt::ControlModifier);
    }
};

PLEXMOLD_TEST_MAIN(DabTest)
#include "DabTest.moc"
