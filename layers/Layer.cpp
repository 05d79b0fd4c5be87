#include "layers/Layer.h"

#include "app/Global.h"
#include "app/SceneChange.h"
#include "gpu/GPUMesh.h"
#include "gpu/LayerPasses.h"
#include "layers/LayerFit.h"
#include "layers/LayerManager.h"
#include "timeline/Timeline.h"
#include "viewport/MeshScope.h"
#include "widgets/FloatSliderGrp.h"
#include "widgets/Icon.h"
#include "widgets/IntFieldGrp.h"
#include "widgets/TickBox.h"

#include <QInputDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {

constexpr int kExpandLabelSize = 15;
constexpr int kPanelMargin = 4;

QString selectedStyle()
{
    return QStringLiteral(
        "QWidget#layer{border-style: solid;border-width: 2px;border-color: #ffa02f;}");
}

QString unselectedStyle()
{
    return QStringLiteral(
        "QWidget#layer{border-style: outset;border-width: 2px;border-color: rgb(80, 80, 80);}");
}

QString branchStyle(bool open)
{
    return QStringLiteral("QLabel{ image: url(:/resources/Resources/branch-%1.png) no-repeat; }")
        .arg(open ? QLatin1String("open") : QLatin1String("closed"));
}

QString iterationsLabel(LayerKind kind)
{
    return kind == LayerKind::Cloth ? QStringLiteral("Iterations:")
                                    : QStringLiteral("Relax Iterations:");
}

QString cloneIterationsLabel(LayerKind kind)
{
    switch (kind) {
    case LayerKind::Sculpt:
        return QStringLiteral("Force Shape Iterations: ");
    case LayerKind::Mush:
        return QStringLiteral("Force Rest Pose Iterations:");
    case LayerKind::Jiggle:
        return QStringLiteral("keep Integrity Iterations:");
    default:
        return QStringLiteral("CloneIterations:");
    }
}

QString iterationsTip(LayerKind kind)
{
    switch (kind) {
    case LayerKind::Mush:
        return QStringLiteral("Smoothing passes before the rest shape comes back; 0 does nothing, "
                              "hundreds mend a joint");
    case LayerKind::Cloth:
        return QStringLiteral("Steps of the cloth in each frame; 0 does nothing");
    default:
        return QStringLiteral("Smoothing passes; 0 does nothing");
    }
}

QString cloneIterationsTip(LayerKind kind)
{
    switch (kind) {
    case LayerKind::Sculpt:
        return QStringLiteral("Passes that press the sculpted detail onto the pose, where masked");
    case LayerKind::Jiggle:
        return QStringLiteral("Passes that hold the local shape together while it swings");
    default:
        return QStringLiteral("Passes that press the rest pose's detail onto the result");
    }
}

template <class Group, class Value> void fillSilently(Group *group, Value value)
{
    const QSignalBlocker silent(group);
    group->setValue(value);
}

/// A style sheet set anew costs half a millisecond a layer, even where it is the one it has.
void restyle(QWidget *widget, const QString &style)
{
    if (widget->styleSheet() != style)
        widget->setStyleSheet(style);
}

/// The name whole, where the panel is too narrow, and what the mouse does with it.
QString nameTip(const QString &name)
{
    return name.toHtmlEscaped() +
        QStringLiteral(
               "<br>Click selects, Delete removes, double click folds; right click: rename, "
               "copy and paste");
}

void repaintTimeline()
{
    if (Global::timeline())
        Global::timeline()->update();
}

// The box is gone before the layer that it lies over may be deleted.
bool confirmDelete(QWidget *parent)
{
    QMessageBox box(parent);
    box.setText(QStringLiteral("Delete"));
    box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

} // namespace

Layer::Layer(LayerKind kind)
    : m_expandLabel(new Icon)
    , m_nameLabel(new Icon)
    , m_settingsPanel(new QWidget)
    , m_unusedFields(std::make_unique<QWidget>())
    , m_intensity(new FloatSliderGrp(QStringLiteral("Intensity:")))
    , m_iterations(new IntFieldGrp(QStringLiteral("Iterations:")))
    , m_cloneIterations(new IntFieldGrp(QStringLiteral("CloneIterations:")))
    , m_tangent(new TickBox(QStringLiteral("Tangent")))
    , m_damping(new FloatSliderGrp(QStringLiteral("Damping: ")))
    , m_stiffness(new FloatSliderGrp(QStringLiteral("Stiffness :")))
    , m_asMuscle(new FloatSliderGrp(QStringLiteral("AsMuscle:")))
{
    m_data.setKind(kind);
    m_data.setName(layerKindName(kind));
    setObjectName(QStringLiteral("layer"));
    setAttribute(Qt::WA_StyledBackground); // else a style sheet's border is not drawn
    setContextMenuPolicy(Qt::CustomContextMenu);
    setFocusPolicy(Qt::ClickFocus); // a click on the name brings Delete here
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(kPanelMargin, kPanelMargin, kPanelMargin, kPanelMargin);
    layout->setSpacing(0);
    layout->addLayout(createHeader());
    layout->addWidget(m_settingsPanel);
    createPanel();
    explainFields();
    connectFields();
    arrangeFields();
    select();
    refreshWidgets();
}

Layer::~Layer() = default;

QLayout *Layer::createHeader()
{
    m_expandLabel->setFixedSize(kExpandLabelSize, kExpandLabelSize);
    m_expandLabel->setStyleSheet(branchStyle(true));
    m_expandLabel->setToolTip(QStringLiteral("Close"));
    m_nameLabel->setTextFormat(Qt::PlainText); // a name is never markup
    m_nameLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto *row = new QHBoxLayout;
    row->addWidget(m_expandLabel);
    row->addWidget(m_nameLabel);
    connect(m_expandLabel, &Icon::clicked, this, &Layer::expandContract);
    connect(m_nameLabel, &Icon::clicked, this, &Layer::select);
    connect(m_nameLabel, &Icon::doubleClicked, this, &Layer::expandContract);
    connect(this, &QWidget::customContextMenuRequested, this, &Layer::showRightClickMenu);
    return row;
}

void Layer::createPanel()
{
    m_settingsPanel->setObjectName(QStringLiteral("settingsPanel"));
    m_settingsPanel->show(); // open even while the layer itself is not on screen yet
    auto *shown = new QVBoxLayout(m_settingsPanel);
    shown->setContentsMargins(kPanelMargin, kPanelMargin, kPanelMargin, kPanelMargin);
    shown->setSpacing(kPanelMargin);
    new QVBoxLayout(m_unusedFields.get());
}

void Layer::arrangeFields()
{
    const LayerKind kind = m_data.kind();
    const bool sculpt = kind == LayerKind::Sculpt;
    const bool mush = kind == LayerKind::Mush;
    const bool jiggle = kind == LayerKind::Jiggle;
    const struct {
        QLayout *field;
        bool shown;
    } rows[] = {
        { m_intensity, true },
        { m_iterations, mush || kind == LayerKind::Relax || kind == LayerKind::Cloth },
        { m_cloneIterations, sculpt || mush || jiggle },
        { m_tangent, sculpt },
        { m_damping, jiggle },
        { m_stiffness, jiggle },
        { m_asMuscle, jiggle },
    };
    for (const auto &row : rows) {
        if (auto *earlier = qobject_cast<QLayout *>(row.field->parent()))
            earlier->removeItem(row.field);
        QWidget *panel = row.shown ? m_settingsPanel : m_unusedFields.get();
        static_cast<QVBoxLayout *>(panel->layout())->addLayout(row.field);
    }
    m_shownKind = kind;
    m_iterations->setLabel(iterationsLabel(kind));
    m_cloneIterations->setLabel(cloneIterationsLabel(kind));
    m_iterations->setToolTip(iterationsTip(kind));
    m_cloneIterations->setToolTip(cloneIterationsTip(kind));
}

void Layer::explainFields()
{
    m_intensity->setToolTip(QStringLiteral("Strength of this layer, times its key"));
    m_tangent->setToolTip(QStringLiteral("Offsets turn with the surface"));
    m_damping->setToolTip(QStringLiteral("How soon the swing dies; 1 keeps none"));
    m_stiffness->setToolTip(QStringLiteral("How hard the animation pulls back; 1 does not swing"));
    m_asMuscle->setToolTip(QStringLiteral("1 swings along the surface only, as flesh on a muscle"));
}

void Layer::connectFields()
{
    connect(m_intensity, &FloatSliderGrp::valueChanged, this, &Layer::setIntensity);
    connect(m_iterations, &IntFieldGrp::valueChanged, this, &Layer::setIterations);
    connect(m_cloneIterations, &IntFieldGrp::valueChanged, this, &Layer::setCloneIterations);
    connect(m_tangent, &TickBox::toggled, this, &Layer::setTangent);
    connect(m_damping, &FloatSliderGrp::valueChanged, this, &Layer::setDamping);
    connect(m_stiffness, &FloatSliderGrp::valueChanged, this, &Layer::setStiffness);
    connect(m_asMuscle, &FloatSliderGrp::valueChanged, this, &Layer::setAsMuscle);
}

void Layer::refreshWidgets()
{
    if (m_data.kind() != m_shownKind)
        arrangeFields();
    showSelection();
    showName();
    fillSilently(m_intensity, m_data.intensity());
    fillSilently(m_iterations, m_data.iterations());
    fillSilently(m_cloneIterations, m_data.cloneIterations());
    fillSilently(m_tangent, m_data.tangent());
    fillSilently(m_damping, m_data.damping());
    fillSilently(m_stiffness, m_data.stiffness());
    fillSilently(m_asMuscle, m_data.asMuscle());
}

void Layer::expandContract()
{
    const bool open = m_settingsPanel->isHidden();
    m_expandLabel->setStyleSheet(branchStyle(open));
    m_expandLabel->setToolTip(open ? QStringLiteral("Close") : QStringLiteral("Open"));
    m_settingsPanel->setVisible(open);
}

void Layer::select()
{
    const SceneChange change(SceneChange::Shows::Picture);
    for (Layer *layer : Global::layers())
        layer->m_data.setSelected(false);
    m_data.setSelected(true);
    for (Layer *layer : Global::layers())
        layer->showSelection();
    showSelection(); // a layer in the making is not on the list
    if (const MeshScope scope; scope)
        showMask(*Global::mesh(), &m_data);
    repaintTimeline();
    if (Global::layerManager())
        Global::layerManager()->reveal(this);
}

void Layer::setIntensity(float intensity)
{
    const SceneChange change;
    m_data.setIntensity(intensity);
}

void Layer::setIterations(int iterations)
{
    const SceneChange change;
    m_data.setIterations(iterations);
    if (m_data.kind() == LayerKind::Mush)
        if (const MeshScope scope; scope)
            rebuildMushBase(*Global::mesh(), m_data);
}

void Layer::setCloneIterations(int iterations)
{
    const SceneChange change;
    m_data.setCloneIterations(iterations);
}

void Layer::setTangent(bool /*on*/)
{
    const SceneChange change;
    m_data.setTangent(!m_data.tangent());
}

void Layer::setDamping(float damping)
{
    const SceneChange change;
    m_data.setDamping(damping);
}

void Layer::setStiffness(float stiffness)
{
    const SceneChange change;
    m_data.setStiffness(stiffness);
}

void Layer::setAsMuscle(float amount)
{
    const SceneChange change;
    m_data.setAsMuscle(amount);
}

void Layer::showRightClickMenu(const QPoint &point)
{
    QMenu menu(QStringLiteral("Settings"), this);
    menu.addAction(QStringLiteral("Rename"), this, &Layer::setName);
    menu.addSeparator();
    menu.addAction(QStringLiteral("Copy Mask"), this, &Layer::copyMask);
    menu.addAction(QStringLiteral("Paste Mask"), this, &Layer::pasteMask);
    menu.addSeparator();
    menu.addAction(QStringLiteral("Copy Keys"), this, &Layer::copyKeys);
    menu.addAction(QStringLiteral("Paste Keys"), this, &Layer::pasteKeys);
    menu.exec(mapToGlobal(point));
}

void Layer::setName()
{
    bool accepted = false;
    const QString name = QInputDialog::getText(this, QStringLiteral("QInputDialog::getText()"),
                                               QStringLiteral("User name:"), QLineEdit::Normal,
                                               m_data.name(), &accepted);
    if (!accepted || name.isEmpty())
        return;
    m_data.setName(name);
    showName();
}

void Layer::showName()
{
    m_nameLabel->setText(m_data.name());
    showFit();
}

void Layer::showFit()
{
    const int vertexCount = Global::mesh() ? Global::mesh()->vertexCount() : 0;
    const std::optional<int> madeFor = pointsMadeFor(m_data, vertexCount);
    const QString tip = madeFor ? misfitText(*madeFor, vertexCount) : nameTip(m_data.name());
    m_nameLabel->setToolTip(tip);
    restyle(m_nameLabel, madeFor ? QStringLiteral("color: #7c7c7c;") : QString());
}

void Layer::showSelection()
{
    restyle(this, m_data.selected() ? selectedStyle() : unselectedStyle());
}

void Layer::copyMask() { Global::maskClipboard() = m_data.mask(); }

void Layer::pasteMask()
{
    const SceneChange change(SceneChange::Shows::Nothing);
    m_data.setMask(Global::maskClipboard());
    showFit();
    select();
}

void Layer::copyKeys() { Global::keysClipboard() = m_data.keys(); }

void Layer::pasteKeys()
{
    m_data.setKeys(Global::keysClipboard());
    repaintTimeline();
}

void Layer::keyPressEvent(QKeyEvent *event)
{
    if (event->key() != Qt::Key_Delete || event->isAutoRepeat()) {
        QWidget::keyPressEvent(event);
        return;
    }
    event->accept();
    if (confirmDelete(this))
        Global::deleteLayer(this); // nothing may touch this layer from here on
}
