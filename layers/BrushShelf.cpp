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
};

// In the order of the brush numbers.
constexpr BrushRow kBrushes[] = {
    { "clay", "CLAY" },       { "move", "MOVE" },       { "standard", "DEFAULT" },
    { "crease", "CREASE" },   { "inflate", "INFLATE" }, { "clone", "CLONE" },
    { "flatten", "FLATTEN" }, { "erase", "ERASE" },     { "mask", "MASK" },
};
static_assert(std::size(kBrushes) == int(BrushType::Mask) + 1, "a button per brush of the shelf");

QString picturePath(const BrushRow &row)
{
    return QStringLiteral(":/resources/Resources/%1.png").arg(QLatin1String(row.picture));
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
