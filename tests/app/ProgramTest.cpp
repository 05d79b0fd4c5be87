#include "app/ProgramModel.h"
#include "gpu/CameraWindow.h"
#include "layers/Topology.h"
#include "support/Compare.h"
#include "support/Stage.h"

#include <QInputDialog>
#include <QSignalMapper>
#include <QVBoxLayout>

#include <limits>

using LayerPointer = ProgramModel::LayerPointer;

/// The running program under random hands, beside a model of it; and what random hands seldom do.
class ProgramTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        NEEDS_GL(m_stage.hasGL());
        Global::mainWindow()->resize(1000, 900);
        m_mesh = testSphere(24, 16);
        m_mesh.addPoint(0.05, 0.05, 1.05); // of no face: smoothing it gives no number
        m_archives = { { m_stage.write(m_mesh), 0 }, { m_stage.write(m_mesh, 1001), 1001 } };
        QFile bad(m_badArchive);
        QVERIFY(bad.open(QIODevice::WriteOnly) && bad.write("Ogawa\xff and nothing behind it") > 0);
        for (QWidget *watched : std::initializer_list<QWidget *> { Stage::view(), &Stage::ruler() })
            watched->installEventFilter(this);
        connect(Stage::ruler().findChild<QTimer *>(), &QTimer::timeout, this, &ProgramTest::tick);
    }

    /// A failure is shrunk: as long as it stays without some of the steps, it goes on without them.
    void randomHands()
    {
        const unsigned seed = qEnvironmentVariable("PLEXMOLD_SEED", QStringLiteral("1")).toUInt();
        std::mt19937 random(seed);
        std::vector<unsigned> steps(
            qEnvironmentVariable("PLEXMOLD_STEPS", QStringLiteral("130")).toUInt());
        for (unsigned &step : steps)
            step = random();
        int failed = run(steps);
        if (failed < 0)
            return;
        qWarning("seed %u: %s at step %d", seed, m_fault, failed);
        steps.resize(size_t(failed) + 1);
        for (size_t part = steps.size() / 2; part > 0; part /= 2) {
            for (size_t at = 0; at + part < steps.size();) {
                std::vector<unsigned> fewer = steps;
                fewer.erase(fewer.begin() + long(at), fewer.begin() + long(at + part));
                if ((failed = run(fewer)) >= 0)
                    steps.assign(fewer.begin(), fewer.begin() + failed + 1);
                else
                    at += part;
            }
        }
        run(steps);
        QFAIL(qPrintable(QStringLiteral("seed %1, shrunk to %2: %3")
                             .arg(seed)
                             .arg(m_trace.join(QLatin1Char(' ')), QLatin1String(m_fault))));
    }

    /// Archives that are odd but readable, imported over a mesh and layers, and what an artist may
    /// do next.
    void oddArchivesReplaceTheMesh()
    {
        constexpr int kMost = std::numeric_limits<int>::max();
        const archives::Shape cube = archives::cube(), corners { cube.points, {}, {} };
        using Poses = std::vector<archives::Points>;
        const Poses later { archives::moved(cube.points, { 1, 0, 0 }) };
        struct Row {
            std::optional<archives::Shape> shape;
            Poses later;
            int vertices, first, last;
            double start = 0.0, fps = 24.0;
        };
        const Row rows[] = {
            { {}, {}, 0, 0, 1 }, // only a camera
            { archives::Shape(), {}, 0, 0, 1 },
            { corners, {}, 8, 0, 1 },
            { cube, { archives::grid(5).points }, 8, 0, 1 }, // the count of points changes
            { cube, later, 8, -48, -47, -2.0 },
            { cube, later, 8, 30, 31, 1.0, 30.0 },
            { cube, later, 8, kMost, kMost, 1e12 },
            { cube, later, 8, -kMost - 1, kMost, -1e12, 5e-13 },
        };
        const Timeline &ruler = Stage::ruler();
        for (const Row &row : rows) {
            m_stage.import(testCube());
            for (int kind = 0; kind < 5; ++kind)
                Stage::addLayer(LayerKind(kind));
            const LayerData &sculpt = *Global::layers().front()->data();
            const PointArray kept = sculpt.offsetPoints();
            const QString path = m_stage.path(QStringLiteral("odd.abc"));
            {
                archives::Writer writer(path, row.start, row.fps);
                writer.camera(writer.top(), "camera", { 35.0, 50.0 });
                if (row.shape)
                    writer.mesh(writer.top(), "mesh", *row.shape, row.later);
            }
            Driver::answerFileDialog(path);
            Stage::key(Qt::Key_I, Qt::ControlModifier);
            QCOMPARE(Global::mesh()->vertexCount(), row.vertices);
            QCOMPARE(ruler.minFrame(), row.first);
            QCOMPARE(ruler.maxFrame(), row.last);
            QVERIFY(Global::alembicPath() == path && sculpt.offsetPoints() == kept);

            for (const int frame : { row.first, row.last, 1 })
                Stage::ruler().setCurrentFrame(frame);
            Stage::ruler().playPause();
            for (int tick = 0; tick < 3; ++tick)
                Stage::ruler().timeFoward();
            Stage::ruler().playPause();
            Global::layers().front()->select();
            Stage::key(Qt::Key_F);
            Stage::stroke(Stage::middle(), Stage::middle() + QPoint(30, 0), 3);
            Driver::drag(&Stage::ruler(), { 5, 50 }, { ruler.width() - 5, 50 }, 3);
            Global::mainWindow()->saveMorphTarget();
        }
    }

    /// Made before any import, they start from the first mesh; on another one they keep their
    /// points, say so and take no stroke.
    void layersSayWhetherTheyFit()
    {
        const QString cube = m_stage.write(testCube()), sheet = m_stage.write(testGrid(40));
        Global::clearScene();
        for (int kind = 0; kind < 5; ++kind)
            Stage::addLayer(LayerKind(kind));
        Global::layers()[1]->setIterations(2);
        const LayerData &sculpt = *Global::layers()[0]->data();
        PointArray sculpted;
        for (const bool fits : { true, false }) {
            Driver::answerFileDialog(fits ? cube : sheet);
            Stage::key(Qt::Key_I, Qt::ControlModifier);
            if (fits) {
                sculpted = sculpt.offsetPoints();
                QVERIFY(sculpted.size() == 8 && sculpted == sculpt.basePoints());
                QVERIFY(Global::layers()[1]->data()->offsetPoints() == sculpted);
                QVERIFY(Global::layers()[1]->data()->basePoints() != sculpted); // relaxed
                QCOMPARE(Global::layers()[4]->data()->basePoints().size(), size_t(8));
                Global::layers()[0]->select();
            }
            const QString tip = Stage::nameLabel(Global::layers()[0])->toolTip();
            QCOMPARE(tip == QLatin1String("made for 8 points, this mesh has 1,600"), !fits);
            Stage::press(Stage::middle());
            QCOMPARE(Stage::view()->mode() == InteractionMode::Stroke, fits);
            Stage::release(Stage::middle());
        }
        QVERIFY(sculpt.offsetPoints() == sculpted);
    }

    /// Ray hit and area in three passes each, picking, sculpt; normals once an event. Only by
    /// surface anything is read back: each hit, and the mesh once an event.
    void aStampIsOneDab()
    {
        m_stage.import(testSphere(48, 32));
        Stage::addLayer(LayerKind::Sculpt);
        Road::chooseBrush(2);
        const QPoint from = Stage::middle(), to = from + QPoint(60, 0);
        constexpr int kEvents = 3;
        Global::setBrushRadius(50);
        for (const bool bySurface : { false, true }) {
            QPoint last = from;
            const quint64 count = stampsAlong(pixelLine(from, to), stampSpacing(50), last).size();
            Stage::press(from);
            const GpuCounters before = gpuCounters();
            for (int i = 1; i <= kEvents; ++i)
                Stage::move(from + QPoint(60, 0) * i / kEvents);
            QVERIFY(bySurface ||
                    gpuCounters().dispatches - before.dispatches == 8 * count + kEvents);
            QCOMPARE(gpuCounters().readBacks - before.readBacks, bySurface ? count + kEvents : 0);
            Stage::release(to);
            Stage::tick(QStringLiteral("by surface"));
        }
        QCOMPARE(Global::commands()->undoCount(), 2);
    }

    void theMirrorStrokesBothSides()
    {
        m_stage.import(testSphere(48, 32));
        const LayerData &data = *Stage::addLayer(LayerKind::Sculpt)->data();
        Road::chooseBrush(2);
        Global::setBrushRadius(40);
        Global::setBrushStrength(1.0f);
        Global::mainWindow()->toggleSymmetry();
        const QPoint at = Stage::pixelOf({ 0.3f, 0.1f, 0.9f }).toPoint();
        Stage::stroke(at, at + QPoint(25, 0));
        Global::mainWindow()->toggleSymmetry();
        QVector4D left, right;
        for (size_t i = 0; i < data.basePoints().size(); ++i) {
            const QVector4D moved = data.offsetPoints()[i] - data.basePoints()[i];
            (moved.x() < 0 ? left : right) += moved;
        }
        QVERIFY2(left.length() > 0.1f && right.length() > 0.1f, "one side alone");
        const QVector4D mirrored(-left.x(), left.y(), left.z(), 0);
        QVERIFY((mirrored - right).length() < 0.1f * right.length());
    }

    /// The last one: the program is gone afterwards.
    void closingWhilePlayingEnds()
    {
        Global::clearScene();
        Driver::click(Stage::button(QStringLiteral("Play")));
        QCOMPARE(Stage::ruler().findChild<QTimer *>()->interval(), 1000 / 24);
        QTRY_VERIFY(Stage::ruler().currentFrame() > 1);
        QTimer::singleShot(0, Global::mainWindow(), &QWidget::close);
        QTimer::singleShot(10000, qApp, [] { QCoreApplication::exit(1); });
        QCOMPARE(qApp->exec(), 0);
        Global::destroyAll();
        QVERIFY(!Global::timeline());
        QTest::qWait(100);
    }

private:
    struct Step {
        const char *name;
        int share;
        void (ProgramTest::*act)();
        bool needsMesh;
        bool whileDown; ///< may come in the middle of a stroke, which it ends
    };

    // The hands. Each does a thing to the program and writes down what should come of it.
    void stroke()
    {
        const bool inCameraView = below(4) == 0;
        if (inCameraView) {
            Global::cameraWindow()->show();
            expect(QTest::qWaitForWindowExposed(Global::cameraWindow()), "the camera window");
        }
        Viewport *view = inCameraView ? Global::auxViewport() : Stage::view();
        m_brush = below(9);
        Road::chooseBrush(m_brush);
        Global::setBrushRadius(8 + below(50));
        Global::setBrushStrength(0.05f + 0.1f * float(below(4)));
        const Qt::KeyboardModifiers keys[] = { {}, {}, Qt::ShiftModifier, Qt::ControlModifier };
        const Qt::KeyboardModifiers held = keys[below(4)];
        const bool hits = below(8) != 0;
        const QPoint from = hits ? onMesh(view, inCameraView ? 10 : 60) : QPoint(5, 5);
        const QPoint to = from + QPoint(24 + below(40), below(60) - 30);
        const LayerPointer layer = m_model.selected();

        m_down = true;
        Stage::press(from, held, Qt::LeftButton, view);
        int brush = layer ? strokeBrush(hits, held) : m_brush;
        expect(Global::currentBrush() == brush, "the brush of the stroke");
        Stage::move((from + to) / 2, held, view);
        if (layer && layer->kind() == LayerKind::Sculpt && hits && below(5) == 0) {
            const int before = std::exchange(m_brush, brush);
            view->setFocus();
            pressBrushKey();
            brush = std::exchange(m_brush, before);
        }
        Stage::move(to, held, view);
        if (layer)
            takeStroke(brush);
        if (below(3) == 0) {
            interrupt(view);
            Stage::move(to + QPoint(15, 5), held, view); // the button is still down: nothing more
        }
        Stage::release(to, held, Qt::LeftButton, view);
        m_down = false;
    }

    void undo()
    {
        m_model.undo();
        Stage::key(Qt::Key_Z, Qt::ControlModifier);
    }

    void redo()
    {
        m_model.redo();
        if (!m_down || m_model.selected()) // a press without a stroke brings its own brush back
            m_brush = 6; // the key chooses the flatten brush, too
        Stage::key(Qt::Key_Y, Qt::ControlModifier);
    }

    void stepFrame()
    {
        int &frame = m_model.frame;
        if (below(2)) {
            frame = frame >= m_model.lastFrame ? m_model.firstFrame : frame + 1;
            Stage::key(Qt::Key_Right);
        } else {
            frame = std::max(frame - 1, m_model.firstFrame);
            Stage::key(Qt::Key_Left);
        }
    }

    void scrub()
    {
        const int reach = m_model.lastFrame - m_model.firstFrame + 3;
        const int to = m_model.firstFrame - 1 + below(reach); // also past both ends
        Driver::drag(&Stage::ruler(), Stage::rulerPixel(m_model.frame), Stage::rulerPixel(to), 2);
        m_model.frame = std::clamp(to, m_model.firstFrame, m_model.lastFrame);
    }

    void play()
    {
        QAbstractButton *button = Stage::button(QStringLiteral("Play"));
        for (const LayerPointer &layer : m_model.layers)
            m_model.swings[layer] = { reference::toPose(layer->basePoints()),
                                      reference::toPose(layer->offsetPoints()) };
        m_model.playing = true;
        m_ticks = 2 + below(6);
        m_evaluations = gpuCounters().evaluations;
        Driver::click(button);
        expect(Stage::ruler().playing(), "playing");
        Stage::ruler().findChild<QTimer *>()->setInterval(5);
        for (int i = 0; i < 1000 && m_ticks > 0; ++i)
            QTest::qWait(5);
        Driver::click(button);
        m_model.playing = false;
        expect(m_ticks <= 0 && !Stage::ruler().playing(), "stopping");
        const MeshScope scope; // the points may still lie on the card
        for (const LayerPointer &layer : m_model.layers) {
            const LayerData &held = *widgetOf(layer)->data();
            if (layer->kind() != LayerKind::Jiggle || held.basePoints().empty())
                continue;
            expect(pointsMatch(held.basePoints(), m_model.swings[layer].previous, 1e-3) &&
                       pointsMatch(held.offsetPoints(), m_model.swings[layer].current, 1e-3),
                   "a jiggle layer's points");
            layer->setBasePoints(held.basePoints());
            layer->setOffsetPoints(held.offsetPoints());
        }
    }

    void editKeys()
    {
        const int frame = m_model.firstFrame + below(m_model.lastFrame - m_model.firstFrame + 1);
        const QPoint at = Stage::rulerPixel(frame, 0.05 + 0.1 * below(10));
        const QPoint to = Stage::rulerPixel(frame, 0.05 + 0.1 * below(10));
        const auto valueAt = [](const QPoint &pixel) {
            return float(Stage::ruler().height() - pixel.y()) / float(Stage::ruler().height());
        };
        const auto button = below(2) ? Qt::LeftButton
            : below(2)               ? Qt::RightButton
                                     : Qt::MiddleButton;
        const bool shift = below(2), control = below(2), left = button == Qt::LeftButton;
        Qt::KeyboardModifiers modifiers;
        modifiers.setFlag(Qt::ShiftModifier, shift).setFlag(Qt::ControlModifier, control);
        Driver::drag(&Stage::ruler(), at, to, 1, button, modifiers);

        std::vector<LayerKey> none;
        const LayerPointer layer = m_model.selected();
        std::vector<LayerKey> &keys = layer ? layer->keys() : none;
        const int first = ProgramModel::keyOn(keys, frame, false);
        if (layer && left && shift) {
            if (first < 0)
                keys.push_back({ frame / 24.0, valueAt(at), false });
        } else if (layer && left && control) {
            if (first >= 0)
                keys.erase(keys.begin() + ProgramModel::keyOn(keys, frame, true));
        } else if (!left && first >= 0) {
            float &value = keys[size_t(first)].value;
            value = std::clamp(value + (valueAt(to) - valueAt(at)), 0.0f, 1.0f);
        } else if (at != to) {
            m_model.frame = frame; // beside a key it scrubs
        }
    }

    void addLayer()
    {
        if (m_model.layers.size() > 3)
            return;
        const auto kind = LayerKind(std::max(below(7) - 2, 0)); // Sculpt more often
        if (m_down)
            emit Global::layerManager()->mapper()->mappedInt(int(kind)); // the press has the mouse
        else
            Stage::addLayer(kind);
        m_model.add(kind, Stage::positions());
    }

    void selectLayer()
    {
        if (m_model.layers.empty())
            return;
        const LayerPointer layer = anyOf(m_model.layers);
        if (m_down) {
            widgetOf(layer)->select();
        } else {
            Stage::bringIntoView(Stage::nameLabel(widgetOf(layer)));
            Driver::click(Stage::nameLabel(widgetOf(layer)));
        }
        m_model.select(layer);
    }

    void deleteLayer()
    {
        if (m_model.layers.empty())
            return;
        selectLayer();
        const LayerPointer layer = m_model.selected();
        if (m_down) {
            Global::deleteLayer(widgetOf(layer));
        } else {
            if (below(2)) {
                Driver::answerMessageBox(QMessageBox::No);
                Driver::key(widgetOf(layer), Qt::Key_Delete);
            }
            Driver::answerMessageBox(QMessageBox::Yes);
            Driver::key(widgetOf(layer), Qt::Key_Delete);
        }
        m_model.remove(layer);
    }

    void renameLayer()
    {
        if (m_model.layers.empty())
            return;
        const LayerPointer layer = anyOf(m_model.layers);
        const QString name = QStringLiteral("<b>%1").arg(below(100));
        const bool accept = below(3) != 0;
        Driver::whenShown<QInputDialog>([name, accept](QInputDialog *dialog) {
            dialog->setTextValue(name);
            accept ? dialog->accept() : dialog->reject();
        });
        widgetOf(layer)->setName();
        if (accept)
            layer->setName(name);
    }

    void pasteFromLayer()
    {
        if (m_model.layers.empty())
            return;
        const LayerPointer from = anyOf(m_model.layers), to = anyOf(m_model.layers);
        if (below(2)) {
            widgetOf(from)->copyMask();
            widgetOf(to)->pasteMask();
            to->setMask(std::vector<float>(from->mask()));
            m_model.select(to);
        } else {
            widgetOf(from)->copyKeys();
            widgetOf(to)->pasteKeys();
            to->setKeys(std::vector<LayerKey>(from->keys()));
        }
        Global::evaluateLayers(true); // deliberately left to what comes next
    }

    void typeIntoField()
    {
        using Data = LayerData;
        const std::tuple<const char *, void (Data::*)(float), void (Data::*)(int)> fields[] = {
            { "Intensity:", &Data::setIntensity, nullptr },
            { "Damping: ", &Data::setDamping, nullptr },
            { "Stiffness :", &Data::setStiffness, nullptr },
            { "AsMuscle:", &Data::setAsMuscle, nullptr },
            { "Iterations:", nullptr, &Data::setIterations },
            { "Relax Iterations:", nullptr, &Data::setIterations },
            { "Force Shape Iterations: ", nullptr, &Data::setCloneIterations },
            { "Force Rest Pose Iterations:", nullptr, &Data::setCloneIterations },
            { "keep Integrity Iterations:", nullptr, &Data::setCloneIterations },
        };
        if (m_model.layers.empty())
            return;
        const LayerPointer layer = anyOf(m_model.layers);
        if (layer->kind() == LayerKind::Sculpt && below(4) == 0) {
            auto *tangent =
                Stage::beside<QAbstractButton>(QStringLiteral("Tangent"), widgetOf(layer));
            Stage::bringIntoView(tangent);
            Driver::click(tangent);
            layer->setTangent(!layer->tangent());
            return;
        }
        for (const auto &[label, setReal, setWhole] : fields) {
            auto *field = Stage::beside<QLineEdit>(QLatin1String(label), widgetOf(layer));
            if (!field || below(2))
                continue;
            const QString text = QString::number(setWhole ? below(4) : 0.05 * below(21));
            Stage::type(field, text);
            setWhole ? (*layer.*setWhole)(text.toInt()) : (*layer.*setReal)(text.toFloat());
        }
        if (layer->kind() == LayerKind::Mush) { // its rest pose relaxes as often
            const PointArray &held = widgetOf(layer)->data()->basePoints();
            const Topology &topology = *Global::topology();
            const reference::Scene s { { topology.rings(), held.size(), topology.triangles() },
                                       { topology.constraints(), held.size() } };
            expect(pointsMatch(held,
                               relax(s, reference::toPose(layer->offsetPoints()), 1.0, false,
                                     layer->iterations()),
                               1e-5),
                   "the mush layer's relaxed rest pose");
            layer->setBasePoints(held);
        }
    }

    void typeEnvelope()
    {
        const QString text = QString::number(0.5 + 0.1 * below(6));
        Stage::type(Stage::beside<QLineEdit>(QStringLiteral("Envelope: "), Global::layerManager()),
                    text);
        m_model.envelope = text.toFloat();
    }

    void pressBrushKey()
    {
        const std::pair<Qt::Key, int> keys[] = { { Qt::Key_Q, 0 }, { Qt::Key_W, 1 },
                                                 { Qt::Key_E, 3 }, { Qt::Key_R, 4 },
                                                 { Qt::Key_T, 5 }, { Qt::Key_Y, 6 },
                                                 { Qt::Key_U, 8 } };
        const auto &[key, brush] = keys[below(7)];
        QWidget *focus = QApplication::focusWidget();
        if (m_down && focus)
            Driver::key(focus, key);
        else
            Stage::key(key);
        m_brush = brush;
    }

    void wipe()
    {
        const auto keys = Qt::ShiftModifier | Qt::ControlModifier;
        Driver::drag(Stage::view(), Stage::middle(), { 30, 40 }, 2, Qt::LeftButton, keys);
    }

    void saveMorph()
    {
        Driver::click(Stage::button(QStringLiteral("Save Morph")));
        m_model.rest = Stage::positions();
        Global::evaluateLayers(true); // cloth pulls towards another pose from now on
    }

    void import()
    {
        const QString path = std::next(m_archives.begin(), below(2))->first;
        Driver::answerFileDialog(path);
        Stage::key(Qt::Key_I, Qt::ControlModifier);
        takeArchive(path);
        Stage::key(Qt::Key_F);
    }

    void importBadArchive()
    {
        Driver::answerFileDialog(m_badArchive);
        Stage::key(Qt::Key_I, Qt::ControlModifier);
    }

    void newScene()
    {
        Driver::answerMessageBox(QMessageBox::Discard);
        Stage::key(Qt::Key_N, Qt::ControlModifier);
        m_model.startNewScene();
    }

    void openScene()
    {
        if (m_files.empty())
            return;
        const auto &[path, file] = *std::next(m_files.begin(), below(int(m_files.size())));
        Driver::answerFileDialog(path);
        Stage::key(Qt::Key_O, Qt::ControlModifier);
        m_model.startNewScene();
        m_model.archive = file.archive;
        m_model.scene = path;
        for (const LayerData &layer : file.layers)
            m_model.layers.push_back(std::make_shared<LayerData>(layer));
        if (m_archives.count(file.archive))
            takeArchive(file.archive);
        Stage::key(Qt::Key_F);
    }

    void saveScene()
    {
        Qt::KeyboardModifiers keys = Qt::ControlModifier;
        if (m_model.scene == QLatin1String("untitled") || below(2)) {
            m_model.scene = m_stage.path(QStringLiteral("scène %1.pxm").arg(++m_fileCount));
            Driver::answerFileDialog(m_model.scene);
            keys |= Qt::ShiftModifier;
        }
        Stage::key(Qt::Key_S, keys);
        m_files[m_model.scene] = m_model.saved();
        QFile file(m_model.scene);
        expect(file.open(QIODevice::ReadOnly) && file.readAll() == m_model.bytes(),
               "the scene file");
    }

    int below(int count) { return int(m_random() % unsigned(count)); }
    template <class List> typename List::value_type &anyOf(List &list)
    {
        return list[size_t(below(int(list.size())))];
    }
    Layer *widgetOf(const LayerPointer &layer) const
    {
        const auto found = std::find(m_model.layers.begin(), m_model.layers.end(), layer);
        return Global::layers().at(size_t(found - m_model.layers.begin()));
    }

    /// Under which the mesh lies for certain: near its middle.
    QPoint onMesh(const Viewport *view, int reach)
    {
        QVector3D middle;
        for (int i = 0; i + 1 < m_mesh.vertexCount(); ++i)
            middle += Stage::posed(m_mesh,
                                   std::clamp(m_model.frame - m_model.firstFrame, 0, 4))[size_t(i)]
                          .toVector3D();
        const QPoint at = Stage::pixelOf(middle / float(m_mesh.vertexCount() - 1), view).toPoint();
        return at + QPoint(below(2 * reach) - reach, below(2 * reach) - reach);
    }

    /// Which brush a press on the selected layer ends up with.
    int strokeBrush(bool hits, Qt::KeyboardModifiers held) const
    {
        constexpr int kMask = 8, kMaskSmooth = 9, kSmooth = 10, kNone = 11;
        const bool shift = held == Qt::ShiftModifier;
        const int brush = shift ? (m_brush == kMask ? kMaskSmooth : kSmooth) : m_brush;
        const bool paintsMask = brush == kMask || brush == kMaskSmooth;
        const LayerPointer layer = m_model.selected();
        return hits && (paintsMask || layer->kind() == LayerKind::Sculpt) ? brush : kNone;
    }

    /// What the card holds before the release is what the layer gets.
    void takeStroke(int brush)
    {
        ProgramModel::Edit edit { m_model.selected(), {}, {}, {} };
        if (brush == 8 || brush == 9) {
            edit.before = edit.layer->mask();
            edit.after = Stage::read<float>(Semantic::kMask);
        } else if (brush != 11) {
            edit.deltas = Stage::read<QVector4D>(Semantic::kDeltas);
            for (QVector4D &delta : edit.deltas)
                delta = isFinitePoint(delta) ? delta : QVector4D();
        } else {
            return;
        }
        m_model.stroke(edit);
    }

    void interrupt(Viewport *view)
    {
        QEvent elsewhere(QEvent::WindowDeactivate);
        QMouseEvent lost(QEvent::MouseMove, {}, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        switch (below(5)) {
        case 0:
            QApplication::sendEvent(view, &elsewhere);
            return;
        case 1:
            QApplication::sendEvent(view, &lost); // a release that never came
            return;
        default:
            act(true);
        }
    }

    /// Each frame once, in order, evaluated once and painted.
    void tick()
    {
        if (!m_model.playing)
            return;
        m_model.frame = m_model.frame >= m_model.lastFrame ? m_model.firstFrame : m_model.frame + 1;
        --m_ticks;
        expect(Stage::ruler().currentFrame() == m_model.frame, "the frame of a tick");
        expect(gpuCounters().evaluations == ++m_evaluations, "one evaluation a tick");
        checkMesh();
        if (m_ticks % 2) { // a frame is one step of a simulation, however often it is evaluated
            Global::evaluateLayers(true);
            ++m_evaluations;
            expect(sameBits(Stage::positions(), m_lastPoints), "the same frame again");
        }
    }

    void takeArchive(const QString &path)
    {
        const int first = m_archives.at(path);
        m_model.takeArchive(path, first, first + Stage::kFrames - 1, m_mesh.points);
    }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        m_paints[object] += event->type() == QEvent::Paint;
        return false;
    }

    void expect(bool holds, const char *what)
    {
        if (!holds && !m_fault)
            m_fault = what;
    }

    void check()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
        std::vector<const LayerData *> held;
        for (const Layer *layer : Global::layers())
            held.push_back(layer->data());
        for (const LayerPointer &layer : m_model.layers)
            ProgramModel::sort(layer->keys());
        if (const MeshScope scope; scope) // a simulation's points may lie on the card
            expect(SceneLayout::bytes(Global::alembicPath(), held) == m_model.bytes(),
                   "the layers");
        for (size_t i = 0; i < held.size() && !m_fault; ++i) {
            Layer *layer = Global::layers()[i];
            expect(Global::layerManager()->layerListLayout()->indexOf(layer) == int(i), "the list");
            expect(Stage::nameLabel(layer)->text() == m_model.layers[i]->name(), "a layer's name");
        }
        expect(Global::commands()->undoCount() == int(m_model.done.size()), "the undo steps");
        expect(Global::commands()->redoCount() == int(m_model.undone.size()), "the redo steps");
        expect(Global::mainWindow()->windowTitle() ==
                   QStringLiteral("Plexmold 1.0: ") + m_model.scene,
               "the title");
        const Timeline &ruler = Stage::ruler();
        expect(ruler.currentFrame() == m_model.frame, "the frame");
        const auto *time = Stage::beside<QLineEdit>(QStringLiteral("Time"), Global::timeControls());
        expect(time->text() == QString::number(m_model.frame), "the Time field");
        expect(ruler.rangeStart() == m_model.firstFrame && ruler.rangeEnd() == m_model.lastFrame,
               "the frames shown");
        expect(Stage::idle(m_brush), "what a stroke leaves behind");
        for (const BrushButton *button : Global::mainWindow()->findChildren<BrushButton *>())
            expect(button->button()->isChecked() == (button->brush() == m_brush),
                   "the shelf's mark");
        if (!m_model.rest.empty() && !m_fault)
            checkMesh();
        else
            expect(Global::mesh()->vertexCount() == 0, "no mesh");
    }

    /// A float kernel rounds at every step, so it may stray by a multiple of what so small errors
    /// in the points that go in make of the reference itself.
    void checkMesh()
    {
        const PointArray points = Stage::positions();
        if (!m_model.playing) { // the window system may take its time
            const bool same = sameBits(points, m_lastPoints);
            for (int i = 0; i < 100 && !same && !m_paints[Stage::view()]; ++i)
                QTest::qWait(5);
            expect(same || m_paints[Stage::view()], "repainting the mesh");
            expect(m_lastFrame == m_model.frame || m_paints[&Stage::ruler()],
                   "repainting the ruler");
            m_paints.clear();
        }
        m_lastPoints = points;
        m_lastFrame = m_model.frame;
        const Topology &topology = *Global::topology();
        const PointArray imported = Stage::posed(
            m_mesh, std::clamp(m_model.frame - m_model.firstFrame, 0, Stage::kFrames - 1));
        const reference::Pose other = m_model.displayed(topology, imported, 3e-7);
        const reference::Pose exact = m_model.displayed(topology, imported, 0.0);
        std::vector<double> tolerance;
        for (size_t i = 0; i < exact.size(); ++i)
            tolerance.push_back(1e-5 + 30 * length(cleaned(other[i] - exact[i])));
        expect(pointsMatch(points, exact, tolerance), "the displayed mesh");
        const LayerPointer layer = m_model.selected();
        const bool masked = layer && layer->mask().size() == points.size();
        expect(Stage::read<float>(Semantic::kMask) ==
                   (masked ? layer->mask() : std::vector<float>(points.size())),
               "the mask shown");
    }

    void act(bool nested)
    {
        static const Step kSteps[] = {
            { "stroke", 10, &ProgramTest::stroke, true, false },
            { "undo", 4, &ProgramTest::undo, false, true },
            { "redo", 3, &ProgramTest::redo, false, true },
            { "stepFrame", 2, &ProgramTest::stepFrame, false, true },
            { "scrub", 2, &ProgramTest::scrub, false, false },
            { "play", 1, &ProgramTest::play, true, false },
            { "editKeys", 3, &ProgramTest::editKeys, true, false },
            { "addLayer", 3, &ProgramTest::addLayer, true, true },
            { "selectLayer", 2, &ProgramTest::selectLayer, true, true },
            { "deleteLayer", 1, &ProgramTest::deleteLayer, true, true },
            { "renameLayer", 1, &ProgramTest::renameLayer, true, false },
            { "pasteFromLayer", 1, &ProgramTest::pasteFromLayer, true, true },
            { "typeIntoField", 4, &ProgramTest::typeIntoField, true, false },
            { "typeEnvelope", 1, &ProgramTest::typeEnvelope, true, false },
            { "pressBrushKey", 1, &ProgramTest::pressBrushKey, false, false },
            { "wipe", 1, &ProgramTest::wipe, true, false },
            { "saveMorph", 1, &ProgramTest::saveMorph, true, false },
            { "import", 1, &ProgramTest::import, false, true },
            { "importBadArchive", 1, &ProgramTest::importBadArchive, false, false },
            { "newScene", 1, &ProgramTest::newScene, false, true },
            { "openScene", 1, &ProgramTest::openScene, false, true },
            { "saveScene", 2, &ProgramTest::saveScene, false, true },
        };
        for (;;) {
            int ticket = below(47);
            for (const Step &step : kSteps) {
                ticket -= step.share;
                if (ticket >= 0)
                    continue;
                if ((step.needsMesh && m_model.rest.empty()) || (nested && !step.whileDown))
                    break;
                m_trace << QLatin1String(step.name);
                (this->*step.act)();
                return;
            }
        }
    }

    /// The number of the step after which something was not as it should be; -1 if all was well.
    int run(const std::vector<unsigned> &steps)
    {
        m_fault = nullptr;
        m_trace.clear();
        m_files.clear();
        m_random.seed(0);
        Road::chooseBrush(m_brush = 2);
        newScene();
        import();
        for (size_t i = 0; i < steps.size(); ++i) {
            m_random.seed(steps[i]);
            act(false);
            check();
            if (m_fault)
                return int(i);
        }
        return -1;
    }

    TestMesh m_mesh;
    std::map<QString, int> m_archives; ///< first frame by path

    ProgramModel m_model;
    std::map<QString, ProgramModel::File> m_files;
    int m_fileCount = 0, m_brush = 0, m_ticks = 0;
    bool m_down = false;
    std::map<QObject *, int> m_paints;
    PointArray m_lastPoints;
    int m_lastFrame = 0;
    quint64 m_evaluations = 0;
    std::mt19937 m_random;
    const char *m_fault = nullptr;
    QStringList m_trace; ///< the steps since the start
    Stage m_stage; ///< goes first: it is being watched
    const QString m_badArchive = m_stage.path(QStringLiteral("bad.abc"));
};

PLEXMOLD_TEST_MAIN(ProgramTest)
#include "ProgramTest.moc"
