#include "layers/LayerManager.h"

#include "app/Global.h"
#include "layers/LayerData.h"
#include "widgets/FloatSliderGrp.h"

#include <QPushButton>
#include <QScrollArea>
#include <QSignalMapper>
#include <QVBoxLayout>

namespace {

constexpr int kMaximumWidth = 300;
constexpr QSize kButtonSize(54, 40);
// Five buttons with the usual spacing would be wider than the panel.
constexpr int kMargin = 4;
constexpr int kSpacing = 2;

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
    setMaximumWidth(kMaximumWidth);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->addLayout(createButtons());
    layout->addLayout(m_envelope);
    layout->addWidget(createLayerList());
    connect(m_envelope, &FloatSliderGrp::valueChanged, this, &LayerManager::setEnvelope);
}

QLayout *LayerManager::createButtons()
{
    auto *row = new QHBoxLayout;
    row->setSpacing(kSpacing);
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

QScrollArea *LayerManager::createLayerList()
{
    auto *list = new QWidget;
    m_layerListLayout = new QVBoxLayout(list);
    m_layerListLayout->setAlignment(Qt::AlignTop);
    m_layerListLayout->setContentsMargins(0, 0, 0, 0);
    m_layerListLayout->setSpacing(0);
    auto *area = new QScrollArea;
    area->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    area->setWidgetResizable(true);
    area->setWidget(list);
    return area;
}

void LayerManager::reset() { m_envelope->setValue(1.0f); }

void LayerManager::setEnvelope(float envelope)
{
    Global::setGlobalEnvelope(envelope);
    Global::evaluateLayers(true);
}
