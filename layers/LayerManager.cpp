#include "layers/LayerManager.h"

#include "app/Global.h"
#include "app/SceneChange.h"
#include "layers/Layer.h"
#include "widgets/FloatSliderGrp.h"
#include "widgets/WrapRow.h"

#include <QApplication>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalMapper>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int kMinimumWidth = 240; // the row of buttons breaks
constexpr int kMaximumWidth = 300;
constexpr QSize kButtonSize(54, 40);
// Five buttons with the usual spacing would be wider than the panel may get.
constexpr int kMargin = 4;
constexpr int kSpacing = 2;
/// Milliseconds. A layer that was just added gets its height, and the list the room for it, in
/// several turns of the event loop.
constexpr int kSettleTime = 100;

struct KindRow {
    LayerKind kind;
    const char *toolTip;
};

constexpr KindRow kKinds[] = {
    { LayerKind::Sculpt, QT_TR_NOOP("Sculpt offsets with the brushes") },
    { LayerKind::Mush, QT_TR_NOOP("Regain the rest shape; needs a painted mask") },
    { LayerKind::Relax, QT_TR_NOOP("Smooth; needs a painted mask") },
    { LayerKind::Jiggle, QT_TR_NOOP("Swing while playing; needs a painted mask") },
    { LayerKind::Cloth, QT_TR_NOOP("Settle as cloth; needs a painted mask") },
};

} // namespace

LayerManager::LayerManager()
    : m_mapper(new QSignalMapper(this))
    , m_envelope(new FloatSliderGrp(QStringLiteral("Envelope: ")))
{
    setMinimumWidth(kMinimumWidth);
    setMaximumWidth(kMaximumWidth);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->addLayout(createButtons());
    m_envelope->setToolTip(tr("Strength of all layers together"));
    layout->addLayout(m_envelope);
    layout->addWidget(createLayerList(), 1);
    connect(m_envelope, &FloatSliderGrp::valueChanged, this, &LayerManager::setEnvelope);
}

QLayout *LayerManager::createButtons()
{
    auto *row = new WrapRow(kSpacing);
    for (const KindRow &kind : kKinds) {
        auto *button = new QPushButton(layerKindName(kind.kind), this);
        button->setFixedSize(kButtonSize);
        button->setToolTip(tr(kind.toolTip));
        m_mapper->setMapping(button, int(kind.kind));
        connect(button, &QPushButton::released, m_mapper, qOverload<>(&QSignalMapper::map));
        row->addWidget(button);
    }
    return row;
}

QWidget *LayerManager::createLayerList()
{
    auto *list = new QWidget;
    m_layerListLayout = new QVBoxLayout(list);
    m_layerListLayout->setAlignment(Qt::AlignTop);
    m_layerListLayout->setContentsMargins(0, 0, 0, 0);
    m_layerListLayout->setSpacing(0);
    m_layerList = new QScrollArea;
    m_layerList->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    m_layerList->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_layerList->setWidgetResizable(true);
    m_layerList->setWidget(list);
    return m_layerList;
}

void LayerManager::reset() { m_envelope->setValue(1.0f); }

// A press waits until it can no longer become a double click, which would fall beside the layer.
void LayerManager::reveal(Layer *layer)
{
    const bool pressed = QGuiApplication::mouseButtons() != Qt::NoButton;
    const int delay = pressed ? QApplication::doubleClickInterval() : kSettleTime;
    QTimer::singleShot(delay, layer, [this, layer] {
        if (layer != Global::currentLayer())
            return;
        const QRect place = layer->geometry();
        m_layerList->ensureVisible(0, place.bottom() + 1, 0, 0);
        m_layerList->ensureVisible(0, place.top(), 0, 0); // its head, where not all of it fits
    });
}

void LayerManager::setEnvelope(float envelope)
{
    const SceneChange change;
    Global::setGlobalEnvelope(envelope);
}
