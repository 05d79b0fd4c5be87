// The layer panel of the running program under a person's hands: every button, field and menu
// entry.
#include "gpu/GPUMesh.h"
#include "gpu/GpuCounters.h"
#include "support/AppFixture.h"
#include "support/PanelHands.h"
#include "viewport/MeshScope.h"

#include <QInputDialog>
#include <QLineEdit>
#include <QMenu>
#include <QRadioButton>
#include <QSlider>
#include <QTemporaryDir>

using namespace PanelHands;

namespace {

const QColor kAccent(0xff, 0xa0, 0x2f);

std::vector<float> shownMask()
{
    const MeshScope scope;
    return Global::mesh()->readBack<float>(Semantic::kMask);
}

std::vector<float> zeros() { return std::vector<float>(size_t(Global::mesh()->vertexCount())); }

// The middle of the left border.
QColor rimOf(Layer *layer) { return layer->grab().toImage().pixelColor(0, layer->height() / 2); }

// Opens the layer's menu with the right button and clicks the entry; returns what the menu held.
QStringList chooseFromMenu(Layer *layer, const QString &entry)
{
    QStringList texts;
    QTimer::singleShot(100, layer, [&texts, entry] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        texts << menu->title();
        QAction *chosen = nullptr;
        for (QAction *action : menu->actions()) {
            texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
            chosen = action->text() == entry ? action : chosen;
        }
        if (chosen)
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(chosen).center());
        else
            menu->close();
    });
    QLabel *spot = fieldLabels(layer).first(); // not the name, which would select
    bringIntoView(spot);
    Driver::click(spot, Qt::RightButton);
    return texts;
}

void answerRename(bool accept, const QString &name)
{
    Driver::whenShown<QInputDialog>([accept, name](QInputDialog *dialog) {
        QCOMPARE(dialog->windowTitle(), QStringLiteral("QInputDialog::getText()"));
        QCOMPARE(dialog->labelText(), QStringLiteral("User name:"));
        auto *field = dialog->findChild<QLineEdit *>();
        field->clear();
        QTest::keyClicks(field, name);
        QTest::keyClick(field, accept ? Qt::Key_Return : Qt::Key_Escape);
    });
}

} // namespace

class LayerPanelTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void buttonsMakeLayers_data();
    void buttonsMakeLayers();
    void fieldsChangeTheirValue_data();
    void fieldsChangeTheirValue();
    void tangentTurnsOnAndOff();
    void mushIterationsRelaxTheRestPose();
    void aNameClickSelects();
    void headerFoldsThePanel();
    void renaming_data();
    void renaming();
    void masksTravelByTheClipboard();
    void keysTravelByTheClipboard();
    void deleteAsks();
    void refreshingChangesNothing();
    void envelope();

private:
    AppFixture m_app;
    QTemporaryDir m_folder;
};

void LayerPanelTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_app);
    Global::mainWindow()->resize(1000, 900);
    QVERIFY(importSample(m_folder.filePath(QStringLiteral("sample.abc"))));
}

void LayerPanelTest::init()
{
    deleteEveryLayer();
    Global::layerManager()->reset();
}

void LayerPanelTest::buttonsMakeLayers_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QStringList>("labels");
    const auto row = [](LayerKind kind, const QStringList &labels) {
        QTest::newRow(qPrintable(layerKindName(kind))) << int(kind) << labels;
    };
    const QString intensity = QStringLiteral("Intensity:");
    const QString relax = QStringLiteral("Relax Iterations:");
    row(LayerKind::Sculpt,
        { intensity, QStringLiteral("Force Shape Iterations: "), QStringLiteral("Tangent") });
    row(LayerKind::Mush, { intensity, relax, QStringLiteral("Force Rest Pose Iterations:") });
    row(LayerKind::Relax, { intensity, relax });
    row(LayerKind::Jiggle,
        { intensity, QStringLiteral("keep Integrity Iterations:"), QStringLiteral("Damping: "),
          QStringLiteral("Stiffness :"), QStringLiteral("AsMuscle:") });
    row(LayerKind::Cloth, { intensity, QStringLiteral("Iterations:") });
}

void LayerPanelTest::buttonsMakeLayers()
{
    QFETCH(int, kind);
    QFETCH(QStringList, labels);
    Layer *below = addLayer(LayerKind::Relax);
    Layer *layer = addLayer(LayerKind(kind));
    QCOMPARE(Global::layers(), (std::vector<Layer *> { below, layer }));
    QCOMPARE(Global::currentLayer(), layer);
    QCOMPARE(int(layer->data()->kind()), kind);
    QCOMPARE(nameLabel(layer)->text(), layerKindName(LayerKind(kind)));
    QApplication::processEvents();
    QStringList shown;
    for (QLabel *label : fieldLabels(layer))
        shown << (label->isVisible() ? label->text() : QString());
    QCOMPARE(shown, labels);
    QVERIFY(layer->y() > below->y());
}

void LayerPanelTest::fieldsChangeTheirValue_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("value");
    const auto row = [](LayerKind kind, const char *label, const char *text, double value) {
        QTest::addRow("%s %s", qPrintable(layerKindName(kind)), label)
            << int(kind) << QString::fromLatin1(label) << QString::fromLatin1(text) << value;
    };
    row(LayerKind::Sculpt, "Intensity:", "0.53", 0.53f);
    row(LayerKind::Sculpt, "Force Shape Iterations: ", "2", 2);
    row(LayerKind::Mush, "Relax Iterations:", "3", 3);
    row(LayerKind::Mush, "Force Rest Pose Iterations:", "4", 4);
    row(LayerKind::Relax, "Relax Iterations:", "-5", -5);
    row(LayerKind::Jiggle, "keep Integrity Iterations:", "1", 1);
    row(LayerKind::Jiggle, "Damping: ", "0.2", 0.2f);
    row(LayerKind::Jiggle, "Stiffness :", "0.75", 0.75f);
    row(LayerKind::Jiggle, "AsMuscle:", "1", 1);
    row(LayerKind::Cloth, "Iterations:", "12", 12);
}

void LayerPanelTest::fieldsChangeTheirValue()
{
    QFETCH(int, kind);
    QFETCH(QString, label);
    QFETCH(QString, text);
    QFETCH(double, value);
    Layer *layer = addLayer(LayerKind(kind));
    auto *field = partOf<QLineEdit>(layer, label);
    QVERIFY(field);
    const quint64 evaluations = gpuCounters().evaluations;
    type(field, text);
    QCOMPARE(field->text(), text);
    QVERIFY(gpuCounters().evaluations > evaluations);
    const LayerData &data = *layer->data();
    const QMap<QString, double> held {
        { QStringLiteral("Intensity:"), data.intensity() },
        { QStringLiteral("Damping: "), data.damping() },
        { QStringLiteral("Stiffness :"), data.stiffness() },
        { QStringLiteral("AsMuscle:"), data.asMuscle() },
        { QStringLiteral("Iterations:"), data.iterations() },
        { QStringLiteral("Relax Iterations:"), data.iterations() },
    };
    QCOMPARE(held.value(label, data.cloneIterations()), value);
    const LayerData untouched; // everything else is as it was
    const int changes = int(data.intensity() != untouched.intensity()) +
        int(data.damping() != untouched.damping()) +
        int(data.stiffness() != untouched.stiffness()) +
        int(data.asMuscle() != untouched.asMuscle()) +
        int(data.iterations() != untouched.iterations()) +
        int(data.cloneIterations() != untouched.cloneIterations());
    QCOMPARE(changes, 1);
}

void LayerPanelTest::tangentTurnsOnAndOff()
{
    Layer *layer = addLayer(LayerKind::Sculpt);
    auto *button = partOf<QRadioButton>(layer, QStringLiteral("Tangent"));
    for (const bool on : { true, false, true }) {
        const quint64 evaluations = gpuCounters().evaluations;
        Driver::click(button);
        QCOMPARE(button->isChecked(), on);
        QCOMPARE(layer->data()->tangent(), on);
        QCOMPARE(gpuCounters().evaluations, evaluations + 1);
    }
}

void LayerPanelTest::mushIterationsRelaxTheRestPose()
{
    Layer *mush = addLayer(LayerKind::Mush);
    QCOMPARE(mush->data()->basePoints(), mush->data()->offsetPoints());
    const PointArray rest = mush->data()->offsetPoints();
    type(partOf<QLineEdit>(mush, QStringLiteral("Relax Iterations:")), QStringLiteral("5"));
    QCOMPARE(mush->data()->offsetPoints(), rest);
    QCOMPARE(mush->data()->basePoints().size(), rest.size());
    QVERIFY(mush->data()->basePoints() != rest);
    type(partOf<QLineEdit>(mush, QStringLiteral("Relax Iterations:")), QStringLiteral("0"));
    QCOMPARE(mush->data()->basePoints(), rest);
}

void LayerPanelTest::aNameClickSelects()
{
    Layer *masked = addLayer(LayerKind::Mush);
    Layer *odd = addLayer(LayerKind::Relax);
    Layer *plain = addLayer(LayerKind::Sculpt);
    QCOMPARE(nameLabel(plain)->styleSheet(), QString()); // it fits, so it is not greyed
    masked->data()->setMask(std::vector<float>(zeros().size(), 0.25f));
    odd->data()->setMask({ 1.0f, 2.0f }); // fits no mesh
    const std::vector<std::pair<Layer *, std::vector<float>>> expected {
        { masked, masked->data()->mask() }, { odd, zeros() }, { plain, zeros() }
    };
    for (const auto &[layer, mask] : expected) {
        bringIntoView(nameLabel(layer));
        Driver::click(nameLabel(layer));
        QCOMPARE(Global::currentLayer(), layer);
        QCOMPARE(QApplication::focusWidget(), layer);
        QCOMPARE(shownMask(), mask);
        for (Layer *other : Global::layers())
            QCOMPARE(rimOf(other) == kAccent, other == layer);
    }
    QCOMPARE(odd->data()->mask(), (std::vector<float> { 1.0f, 2.0f }));
}

void LayerPanelTest::headerFoldsThePanel()
{
    Layer *layer = addLayer(LayerKind::Mush);
    const QString style =
        QStringLiteral("QLabel{ image: url(:/resources/Resources/branch-%1.png) no-repeat; }");
    const auto isOpen = [&] {
        const bool open = settingsPanel(layer)->isVisible();
        return open && expandLabel(layer)->toolTip() == QLatin1String("Close") &&
            expandLabel(layer)->styleSheet() == style.arg(QStringLiteral("open"));
    };
    const auto isClosed = [&] {
        return !settingsPanel(layer)->isVisible() &&
            expandLabel(layer)->toolTip() == QLatin1String("Open") &&
            expandLabel(layer)->styleSheet() == style.arg(QStringLiteral("closed"));
    };
    QVERIFY(isOpen());
    Driver::click(expandLabel(layer));
    QVERIFY(isClosed());
    Driver::click(expandLabel(layer));
    QVERIFY(isOpen());
    QTest::mouseDClick(nameLabel(layer), Qt::LeftButton);
    QVERIFY(isClosed());
}

void LayerPanelTest::renaming_data()
{
    QTest::addColumn<bool>("accept");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("name");
    QTest::newRow("accepted") << true << "Elbow <b>"
                              << "Elbow <b>";
    QTest::newRow("empty") << true << ""
                           << "Jiggle";
    QTest::newRow("cancelled") << false << "Elbow"
                               << "Jiggle";
}

void LayerPanelTest::renaming()
{
    QFETCH(bool, accept);
    QFETCH(QString, typed);
    QFETCH(QString, name);
    Layer *layer = addLayer(LayerKind::Jiggle);
    answerRename(accept, typed);
    chooseFromMenu(layer, QStringLiteral("Rename"));
    QCOMPARE(layer->data()->name(), name);
    QCOMPARE(nameLabel(layer)->text(), name);
}

void LayerPanelTest::masksTravelByTheClipboard()
{
    Layer *from = addLayer(LayerKind::Mush);
    Layer *to = addLayer(LayerKind::Relax);
    from->data()->setMask(std::vector<float>(zeros().size(), 0.5f));
    chooseFromMenu(from, QStringLiteral("Copy Mask"));
    from->data()->setMask({}); // the clipboard holds a copy
    from->select();
    chooseFromMenu(to, QStringLiteral("Paste Mask"));
    QCOMPARE(to->data()->mask(), std::vector<float>(zeros().size(), 0.5f));
    QCOMPARE(Global::currentLayer(), to);
    QCOMPARE(shownMask(), to->data()->mask());
}

void LayerPanelTest::keysTravelByTheClipboard()
{
    Layer *from = addLayer(LayerKind::Mush);
    Layer *to = addLayer(LayerKind::Relax);
    const std::vector<LayerKey> keys { { 0.5, 0.25f, true }, { 1.0, 1.0f, false } };
    from->data()->setKeys(keys);
    chooseFromMenu(from, QStringLiteral("Copy Keys"));
    from->data()->setKeys({});
    const quint64 evaluations = gpuCounters().evaluations;
    chooseFromMenu(to, QStringLiteral("Paste Keys"));
    QCOMPARE(to->data()->keys(), keys);
    QCOMPARE(gpuCounters().evaluations, evaluations);
}

void LayerPanelTest::deleteAsks()
{
    Layer *first = addLayer(LayerKind::Mush);
    Layer *second = addLayer(LayerKind::Relax);
    first->data()->setMask(std::vector<float>(zeros().size(), 1.0f));
    Driver::click(nameLabel(first));
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier, QString(), true);
    QApplication::sendEvent(first, &repeated); // opens nothing that would have to be answered
    QCOMPARE(Global::layers().size(), size_t(2));

    Driver::answerMessageBox(QMessageBox::No, [](QMessageBox *box) {
        QCOMPARE(box->text(), QStringLiteral("Delete"));
        QCOMPARE(box->standardButtons(), QMessageBox::Yes | QMessageBox::No);
    });
    Driver::key(first, Qt::Key_Delete);
    QCOMPARE(Global::layers().size(), size_t(2));

    Driver::answerMessageBox(QMessageBox::Yes);
    Driver::key(first, Qt::Key_Delete);
    QCOMPARE(Global::layers(), (std::vector<Layer *> { second }));
    QCOMPARE(Global::currentLayer(), second);
    QCOMPARE(shownMask(), zeros());

    Driver::click(nameLabel(second));
    Driver::answerMessageBox(QMessageBox::Yes);
    Driver::key(second, Qt::Key_Delete);
    QVERIFY(Global::layers().empty());
    QCOMPARE(Global::currentLayer(), nullptr);
}

void LayerPanelTest::refreshingChangesNothing()
{
    Layer *layer = addLayer(LayerKind::Mush);
    LayerData &data = *layer->data();
    data.setIntensity(1.2345678f);
    data.setDamping(-3.5f);
    data.setTangent(true);
    data.setIterations(9);
    data.setName(QStringLiteral("from a file"));
    data.setBasePoints({ QVector4D(1, 2, 3, 1) });
    const quint64 evaluations = gpuCounters().evaluations;
    const quint64 dispatches = gpuCounters().dispatches;
    layer->refreshWidgets();
    QCOMPARE(gpuCounters().evaluations, evaluations);
    QCOMPARE(gpuCounters().dispatches, dispatches);
    QCOMPARE(data.intensity(), 1.2345678f);
    QCOMPARE(data.damping(), -3.5f);
    QVERIFY(data.tangent());
    QCOMPARE(data.iterations(), 9);
    QCOMPARE(data.basePoints().size(), size_t(1));
    QCOMPARE(nameLabel(layer)->text(), QStringLiteral("from a file"));
    QCOMPARE(partOf<QLineEdit>(layer, QStringLiteral("Relax Iterations:"))->text(),
             QStringLiteral("9"));
}

void LayerPanelTest::envelope()
{
    auto *field = Global::layerManager()->findChild<QLineEdit *>();
    const quint64 evaluations = gpuCounters().evaluations;
    type(field, QStringLiteral("0.25"));
    QCOMPARE(Global::globalEnvelope(), 0.25f);
    QVERIFY(gpuCounters().evaluations > evaluations);
    Global::layerManager()->reset();
    QCOMPARE(Global::globalEnvelope(), 1.0f);
    QCOMPARE(field->text(), QStringLiteral("1"));
}

PLEXMOLD_TEST_MAIN(LayerPanelTest)
#include "LayerPanelTest.moc"
