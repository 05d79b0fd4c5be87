#include "layers/BrushShelf.h"

#include "app/Global.h"
#include "gpu/BrushType.h"
#include "widgets/BrushButton.h"

#include <QTabWidget>

#include <iterator>

namespace {

struct BrushRow {
    const char *name;
    const char *picture;
    const char *key; ///< in the view, see ViewportKeys.cpp; null where there is none
    const char *effect;
};

// In the order of the brush numbers.
// clang-format off
constexpr BrushRow kBrushes[] = {
    { "clay", "CLAY", "Q", "builds up in flat strips, Control digs" },
    { "move", "MOVE", "W", "drags the surface along" },
    { "standard", "DEFAULT", nullptr, "raises, Control lowers" },
    { "crease", "CREASE", "E", "pinches a ridge, with Control a fold" },
    { "inflate", "INFLATE", "R", "swells along the normals, Control shrinks" },
    { "clone", "CLONE", "T", "brings back the rest pose's local shape" },
    { "flatten", "FLATTEN", "Y", "evens out to a plane" },
    { "erase", "ERASE", nullptr, "takes this layer's sculpting back" },
    { "mask", "MASK", "U", "paints where a layer acts and where brushes do not, Control wipes" },
};
// clang-format on
static_assert(std::size(kBrushes) == int(BrushType::Mask) + 1, "a button per brush of the shelf");

QString picturePath(const BrushRow &row)
{
    return QStringLiteral(":/resources/Resources/%1.png").arg(QLatin1String(row.picture));
}

QString tipOf(const BrushRow &row)
{
    QString name = QLatin1String(row.name);
    if (row.key)
        name += QStringLiteral(" (%1)").arg(QLatin1String(row.key));
    return name + QStringLiteral(": ") + QLatin1String(row.effect);
}

} // namespace

BrushShelf::BrushShelf()
{
    auto *page = new QWidget;
    auto *row = new QHBoxLayout(page);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    for (const BrushRow &brush : kBrushes) {
        auto *button =
            new BrushButton(int(m_buttons.size()), QLatin1String(brush.name), picturePath(brush));
        button->setToolTip(tipOf(brush));
        row->addLayout(button);
        m_buttons.push_back(button);
        connect(button, &BrushButton::brushChosen, this, &BrushShelf::chooseBrush);
    }
    row->addStretch();
    auto *tabs = new QTabWidget;
    tabs->addTab(page, QStringLiteral("Brushes"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(tabs);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum); // height goes to the view below
    showActive(Global::currentBrush());
}

void BrushShelf::chooseBrush(int brush)
{
    Global::setCurrentBrush(brush);
    showActive(brush);
}

void BrushShelf::showActive(int brush)
{
    if (brush >= 0 && brush < int(m_buttons.size()))
        m_buttons[size_t(brush)]->setActive(true);
}
