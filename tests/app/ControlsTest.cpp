#include "gpu/CameraWindow.h"
#include "gpu/ImagePlane.h"
#include "support/Stage.h"

#include <QLineEdit>
#include <QMenu>
#include <QSlider>

namespace {

struct Field {
    const char *label;
    const char *typed;
    QWidget *panel;
    std::function<double()> held;

    QLineEdit *edit() const { return Stage::beside<QLineEdit>(QLatin1String(label), panel); }
};

/// One of each kind of layer stands in the list, in the order of the kinds.
std::vector<Field> allFields()
{
    std::vector<Field> fields;
    const auto ofLayer = [&](LayerKind kind, const char *label, const char *typed, auto getter) {
        Layer *layer = Global::layers()[size_t(kind)];
        fields.push_back({ label, typed, layer,
                           [layer, getter] { return double((layer->data()->*getter)()); } });
    };
    using Data = const LayerData;
    int (LayerData::*iterations)() const = &Data::iterations;
    for (int kind = 0; kind < 5; ++kind)
        ofLayer(LayerKind(kind), "Intensity:", "0.53", &Data::intensity);
    ofLayer(LayerKind::Sculpt, "Force Shape Iterations: ", "2", &Data::cloneIterations);
    ofLayer(LayerKind::Mush, "Relax Iterations:", "3", iterations);
    ofLayer(LayerKind::Mush, "Force Rest Pose Iterations:", "4", &Data::cloneIterations);
    ofLayer(LayerKind::Relax, "Relax Iterations:", "-5", iterations);
    ofLayer(LayerKind::Jiggle, "keep Integrity Iterations:", "1", &Data::cloneIterations);
    ofLayer(LayerKind::Jiggle, "Damping: ", "0.2", &Data::damping);
    ofLayer(LayerKind::Jiggle, "Stiffness :", "0.75", &Data::stiffness);
    ofLayer(LayerKind::Jiggle, "AsMuscle:", "1", &Data::asMuscle);
    ofLayer(LayerKind::Cloth, "Iterations:", "12", iterations);

    QWidget *time = Global::timeControls(), *camera = Global::cameraWindow();
    const auto plate = [](float PlateSettings::*value) {
        return [value] { return Global::imagePlane()->settings().*value; };
    };
    const Field others[] = {
        { "Envelope: ", "0.25", Global::layerManager(), Global::globalEnvelope },
        { "Min", "-7", time, [] { return Stage::ruler().minFrame(); } },
        { "Max", "1050", time, [] { return Stage::ruler().maxFrame(); } },
        { "Time", "13", time, [] { return Stage::ruler().currentFrame(); } },
        { "Fov:", "60", camera, [] { return Global::auxViewport()->camera().fieldOfView(); } },
        { "Scale X:", "1.5", camera, plate(&PlateSettings::scaleX) },
        { "Scale Y:", "-2.25", camera, plate(&PlateSettings::scaleY) },
        { "Offset X:", "-0.125", camera, plate(&PlateSettings::offsetX) },
        { "Offset Y:", "0.5", camera, plate(&PlateSettings::offsetY) },
        { "Depth:", "12.5", camera, plate(&PlateSettings::depth) },
        { "Opacity:", "0.5", camera, plate(&PlateSettings::opacity) },
    };
    fields.insert(fields.end(), std::begin(others), std::end(others));
    return fields;
}

/// Opens the layer's menu with the right button and clicks the entry.
void chooseFromMenu(Layer *layer, const QString &entry)
{
    Driver::whenShown<QMenu>([entry](QMenu *menu) {
        for (QAction *action : menu->actions())
            if (action->text() == entry)
                QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
        menu->close();
    });
    QWidget *spot = layer->findChildren<QLabel *>().last(); // not the name, which would select
    Stage::bringIntoView(spot);
    Driver::click(spot, Qt::RightButton);
}

} // namespace

/// Every field and button of every panel: what a person does to it changes its own value and no
/// other.
class ControlsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        NEEDS_GL(m_stage.hasGL());
        Global::mainWindow()->resize(1000, 900);
        m_stage.import(testSphere(12, 8));
        for (int kind = 0; kind < 5; ++kind)
            Stage::addLayer(LayerKind(kind));
        Global::cameraWindow()->show();
    }

    void everyFieldHoldsItsValue()
    {
        const std::vector<Field> fields = allFields();
        const auto heldByAll = [&] {
            std::vector<double> values;
            for (const Field &field : fields)
                values.push_back(field.held());
            return values;
        };
        for (size_t i = 0; i < fields.size(); ++i) {
            QLineEdit *edit = fields[i].edit();
            QVERIFY2(edit, fields[i].label);
            std::vector<double> expected = heldByAll();
            expected[i] = QByteArray(fields[i].typed).toFloat();
            const quint64 evaluations = gpuCounters().evaluations;
            Stage::type(edit, QLatin1String(fields[i].typed));
            QVERIFY2(heldByAll() == expected, fields[i].label);
            QVERIFY2(gpuCounters().evaluations > evaluations || i > 14, fields[i].label);
        }
        // And each shows what its layer holds when a scene brings it back, without changing it.
        const QString path = m_stage.path(QStringLiteral("fields.pxm"));
        Global::saveScene(path);
        Driver::answerFileDialog(path);
        Stage::key(Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(Global::layers().size(), size_t(5));
        const std::vector<Field> opened = allFields();
        for (size_t i = 0; i < 14; ++i) {
            QCOMPARE(opened[i].edit()->text(), QLatin1String(opened[i].typed));
            QCOMPARE(opened[i].held(), double(QByteArray(opened[i].typed).toFloat()));
        }
        QCOMPARE(Global::globalEnvelope(), 1.0f); // a new scene's
    }

    void everyButtonDoesItsThing()
    {
        Layer *sculpt = Global::layers().front();
        auto *tangent = Stage::beside<QAbstractButton>(QStringLiteral("Tangent"), sculpt);
        Stage::bringIntoView(tangent);
        for (const bool on : { true, false }) {
            const quint64 evaluations = gpuCounters().evaluations;
            Driver::click(tangent);
            QVERIFY(sculpt->data()->tangent() == on && tangent->isChecked() == on);
            QCOMPARE(gpuCounters().evaluations, evaluations + 1);
            Stage::tick(QStringLiteral("by surface"));
            QVERIFY(MainWindow::bySurface() == on);
        }
        auto *slider = Stage::beside<QSlider>(QStringLiteral("Intensity:"), sculpt);
        QTest::keyClick(slider, Qt::Key_Left);
        QCOMPARE(sculpt->data()->intensity(), 0.51f);
        QAbstractButton *cotangent = Stage::button(QStringLiteral("cotangent"));
        Stage::press({ 8, 8 }, {}, Qt::LeftButton, cotangent);
        QVERIFY(MainWindow::cotangent());
        Stage::release({ 8, 80 }, {}, Qt::LeftButton, cotangent);
        QVERIFY(MainWindow::cotangent() &&
                !cotangent->isChecked()); // deliberate: they now disagree

        for (BrushButton *brush : Global::mainWindow()->findChildren<BrushButton *>()) {
            Stage::press({ 25, 25 }, {}, Qt::LeftButton, brush->button());
            QCOMPARE(Global::currentBrush(), brush->brush()); // on the press already
            Stage::release({ 25, 25 }, {}, Qt::LeftButton, brush->button());
        }
    }

    void theMenuCopies()
    {
        Layer *from = Global::layers()[1], *to = Global::layers()[2];
        const std::vector<float> mask(size_t(Global::mesh()->vertexCount()), 0.5f);
        const std::vector<LayerKey> keys { { 0.5, 0.25f, true }, { 1.0, 1.0f, false } };
        from->data()->setMask(mask);
        from->data()->setKeys(keys);
        chooseFromMenu(from, QStringLiteral("Copy Mask"));
        chooseFromMenu(from, QStringLiteral("Copy Keys"));
        from->data()->setMask({}); // the clipboard holds copies
        from->data()->setKeys({});
        chooseFromMenu(to, QStringLiteral("Paste Mask"));
        chooseFromMenu(to, QStringLiteral("Paste Keys"));
        QVERIFY(to->data()->mask() == mask && to->data()->keys() == keys);
        Driver::whenShown<QDialog>([](QDialog *dialog) {
            dialog->findChild<QLineEdit *>()->setText(QStringLiteral("Elbow"));
            dialog->accept();
        });
        chooseFromMenu(to, QStringLiteral("Rename"));
        QCOMPARE(to->data()->name(), QStringLiteral("Elbow"));
    }

    void aNameClickSelects()
    {
        for (Layer *layer : Global::layers()) {
            Stage::bringIntoView(Stage::nameLabel(layer));
            Driver::click(Stage::nameLabel(layer));
            QVERIFY(Global::currentLayer() == layer &&
                    Global::mainWindow()->focusWidget() == layer);
            for (Layer *other : Global::layers()) // the middle of the left border
                QCOMPARE(other->grab().toImage().pixelColor(0, other->height() / 2) ==
                             QColor(0xffa02f),
                         other == layer);
        }
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier, QString(), true);
        QApplication::sendEvent(Global::currentLayer(), &repeated); // asks nothing
        QCOMPARE(Global::layers().size(), size_t(5));
    }

private:
    Stage m_stage;
};

PLEXMOLD_TEST_MAIN(ControlsTest)
#include "ControlsTest.moc"
