// The layer stack of the running program: masks painted by strokes, numbers typed into the panel,
// the shot played, and the displayed mesh against the imported one.
#include "alembic/AlembicFile.h"
#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "layers/Topology.h"
#include "support/AppFixture.h"
#include "support/PanelHands.h"
#include "support/Road.h"

#include <QLineEdit>
#include <QRadioButton>
#include <QTemporaryDir>

using namespace PanelHands;

namespace {

constexpr int kMaskBrush = 8;

// The sample's arm comes first, in rings of 64 vertices, then the sheet of 41 by 41.
struct Place {
    size_t first;
    size_t count;
};
constexpr Place kElbow { 74 * 64, 64 };
constexpr Place kForearm { 110 * 64, 64 };
constexpr Place kSheetMiddle { 9986 + 20 * 41, 41 };

template <class Item = QVector4D> std::vector<Item> shown(const QString &semantic)
{
    const MeshScope scope;
    return Global::mesh()->readBack<Item>(semantic);
}

PointArray shownPoints() { return shown(Semantic::kPosition); }

PointArray importedPoints()
{
    PointArray points;
    Global::alembic()->readPoints(points, Global::timeline()->currentFrame() / 24.0);
    return points;
}

void typeInto(const char *label, const char *text)
{
    auto *field = partOf<QLineEdit>(Global::currentLayer(), QLatin1String(label));
    QVERIFY(field);
    type(field, QLatin1String(text));
}

// Puts the place into the middle of the view and rubs the brush over it.
void rub(int brush, const Place &place)
{
    const PointArray points = shownPoints();
    QVector3D at;
    for (size_t i = place.first; i < place.first + place.count; ++i)
        at += points.at(i).toVector3D() / float(place.count);
    const QVector3D reach(1.5f, 1.5f, 1.5f);
    Global::viewport()->camera().frameBox(at - reach, at + reach);
    Road::chooseBrush(brush);
    const QPoint middle = Global::viewport()->rect().center();
    for (const int dy : { -30, 0, 30 })
        Driver::drag(Global::viewport(), middle + QPoint(-30, dy), middle + QPoint(30, dy), 6);
}

struct Moved {
    int painted = 0; ///< vertices that moved under a mask
    int unpainted = 0; ///< and those that did without
    float furthest = 0.0f;
};

Moved moved(const PointArray &from, const PointArray &to, const std::vector<float> &mask)
{
    Moved result;
    for (size_t i = 0; i < from.size(); ++i) {
        const float distance = (to[i] - from[i]).length();
        if (distance == 0.0f)
            continue;
        ++(mask[i] > 0.0f ? result.painted : result.unpainted);
        const float bound = std::isfinite(distance) ? distance : 1e30f;
        result.furthest = std::max(result.furthest, bound);
    }
    return result;
}

} // namespace

class LayerStackTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void aLayerWorksWhereItIsPainted_data();
    void aLayerWorksWhereItIsPainted();
    void weightsMultiply();
    void tangentRidesOnTheSurface();
    void jiggleSwingsAndRestarts();

private:
    void scrub(int frame);
    std::vector<std::pair<int, PointArray>> play(size_t ticks);

    AppFixture m_app;
    QTemporaryDir m_folder;
};

void LayerStackTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_app);
    Global::mainWindow()->resize(1200, 1000);
    QVERIFY(importSample(m_folder.filePath(QStringLiteral("sample.abc"))));
}

void LayerStackTest::init()
{
    deleteEveryLayer();
    Global::layerManager()->reset();
    scrub(0);
}

void LayerStackTest::scrub(int frame) { QVERIFY(Road(QString(), QString()).scrub(frame).good); }

void LayerStackTest::aLayerWorksWhereItIsPainted_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("label");
    QTest::newRow("Mush") << int(LayerKind::Mush) << "Relax Iterations:";
    QTest::newRow("Relax") << int(LayerKind::Relax) << "Relax Iterations:";
    QTest::newRow("Cloth") << int(LayerKind::Cloth) << "Iterations:";
}

/// Nothing before a mask is painted; then all of it, and no vertex outside by a single bit. The
/// cloth pulls at its pinned neighbours for 200 steps and stays a sheet.
void LayerStackTest::aLayerWorksWhereItIsPainted()
{
    QFETCH(int, kind);
    QFETCH(QString, label);
    scrub(30);
    const Layer *layer = addLayer(LayerKind(kind));
    typeInto(qPrintable(label), "200");
    QCOMPARE(shownPoints(), importedPoints());

    rub(kMaskBrush, LayerKind(kind) == LayerKind::Cloth ? kSheetMiddle : kElbow);
    const std::vector<float> &mask = layer->data()->mask();
    const auto painted = std::count_if(mask.begin(), mask.end(), [](float m) { return m > 0.1f; });
    QVERIFY(painted > 50);
    const Moved result = moved(importedPoints(), shownPoints(), mask);
    QCOMPARE(result.unpainted, 0);
    QVERIFY(result.painted >= painted);
    QVERIFY(result.furthest > 0.01f && result.furthest < 0.5f);
}

/// Key × intensity × envelope, for kinds whose one pass is linear in the weight.
void LayerStackTest::weightsMultiply()
{
    scrub(15);
    addLayer(LayerKind::Sculpt);
    rub(2, kForearm);
    addLayer(LayerKind::Relax);
    typeInto("Relax Iterations:", "1");
    rub(kMaskBrush, kSheetMiddle);
    const PointArray imported = importedPoints();
    const PointArray whole = shownPoints();
    for (Layer *layer : Global::layers())
        layer->data()->setKeys({ { 20 / 24.0, 1.0f, true }, { 10 / 24.0, 0.0f, true } });
    for (Layer *layer : Global::layers()) {
        Driver::click(nameLabel(layer));
        typeInto("Intensity:", "0.8");
    }
    type(Global::layerManager()->findChild<QLineEdit *>(), QStringLiteral("0.5"));
    const PointArray part = shownPoints();
    int far = 0;
    for (size_t i = 0; i < part.size(); ++i) {
        const QVector4D expected = imported[i] + 0.5f * 0.8f * 0.5f * (whole[i] - imported[i]);
        QVERIFY((part[i] - expected).length() < 1e-5f);
        far += (part[i] - imported[i]).length() > 1e-3f;
    }
    QVERIFY(far > 50);

    // On the key of value 0 a frame costs its points, its normals and the mask that it shows.
    const GpuCounters before = gpuCounters();
    Global::timeline()->setCurrentFrame(10);
    QCOMPARE(gpuCounters().uploads - before.uploads, quint64(2));
    QCOMPARE(gpuCounters().dispatches - before.dispatches, quint64(1));
    QCOMPARE(gpuCounters().copies, before.copies);
    QCOMPARE(shownPoints(), importedPoints());
}

/// A bump painted on the straight forearm keeps standing off the skin when the elbow bends.
void LayerStackTest::tangentRidesOnTheSurface()
{
    Layer *layer = addLayer(LayerKind::Sculpt);
    rub(2, kForearm);
    const LayerData &data = *layer->data();
    // Cosines between the bump and the skin below it.
    const auto leaning = [&](const PointArray &skin, const PointArray &normals) {
        std::vector<float> cosines;
        const PointArray points = shownPoints();
        for (size_t i = 0; i < points.size(); ++i)
            if ((data.offsetPoints()[i] - data.basePoints()[i]).length() > 0.02f)
                cosines.push_back(QVector3D::dotProduct(
                    (points[i] - skin[i]).toVector3D().normalized(), normals[i].toVector3D()));
        return cosines;
    };
    const auto skinNormals = [&] {
        layer->setIntensity(0.0f);
        const PointArray normals = shown(Semantic::kNormal);
        layer->setIntensity(1.0f);
        return normals;
    };
    const auto meanDifference = [](const std::vector<float> &a, const std::vector<float> &b) {
        float sum = 0.0f;
        for (size_t i = 0; i < a.size(); ++i)
            sum += std::abs(a[i] - b[i]);
        return sum / float(a.size());
    };
    const std::vector<float> straight = leaning(importedPoints(), skinNormals());
    QVERIFY(straight.size() > 50);
    scrub(36);
    const PointArray normals = skinNormals();
    QVERIFY(meanDifference(leaning(importedPoints(), normals), straight) > 0.3f);
    Driver::click(partOf<QRadioButton>(layer, QStringLiteral("Tangent")));
    QVERIFY(meanDifference(leaning(importedPoints(), normals), straight) < 0.01f);
}

/// The displayed points of so many ticks of playback, each with its frame.
std::vector<std::pair<int, PointArray>> LayerStackTest::play(size_t ticks)
{
    std::vector<std::pair<int, PointArray>> frames;
    auto *button = Global::timeControls()->findChild<QPushButton *>();
    Driver::click(button);
    const auto *timer = Global::timeline()->findChild<QTimer *>();
    const auto noting = connect(timer, &QTimer::timeout, this, [&] { // after the ruler's own
        frames.emplace_back(Global::timeline()->currentFrame(), shownPoints());
    });
    for (int i = 0; i < 600 && frames.size() < ticks; ++i)
        QTest::qWait(50);
    disconnect(noting);
    Driver::click(button);
    return frames;
}

/// All five kinds in one stack. Playing swings; from the start frame on every round is the same;
/// stopping shows the frame without the swing.
void LayerStackTest::jiggleSwingsAndRestarts()
{
    constexpr int kRound = 12;
    addLayer(LayerKind::Sculpt);
    rub(2, kForearm);
    for (const LayerKind kind :
         { LayerKind::Jiggle, LayerKind::Mush, LayerKind::Relax, LayerKind::Cloth }) {
        addLayer(kind);
        rub(kMaskBrush, kind == LayerKind::Cloth ? kSheetMiddle : kForearm);
    }
    for (Layer *layer : Global::layers()) {
        layer->setIterations(3);
        layer->setCloneIterations(2);
    }
    Global::timeline()->setRangeEnd(kRound - 1);
    const auto frames = play(3 * kRound);
    QVERIFY(frames.size() >= 3 * kRound);
    QCOMPARE(Global::timeline()->playing(), false);

    const auto start = std::find_if(frames.begin(), frames.end(),
                                    [](const auto &frame) { return frame.first == 0; });
    for (int k = 0; k < kRound; ++k) {
        QCOMPARE(start[k].first, k);
        QCOMPARE(start[k + kRound].second, start[k].second);
        scrub(k);
        const Moved swing =
            moved(shownPoints(), start[k].second, Global::layers()[1]->data()->mask());
        QVERIFY(swing.furthest < 1.0f);
        QVERIFY(k < 4 || swing.painted > 50);
    }
}

PLEXMOLD_TEST_MAIN(LayerStackTest)
#include "LayerStackTest.moc"
