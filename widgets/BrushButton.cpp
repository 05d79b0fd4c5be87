#include "widgets/BrushButton.h"

#include <QIcon>
#include <QLabel>
#include <QToolButton>

namespace {

constexpr int kButtonSize = 50;
constexpr int kIconSize = 40;

} // namespace

BrushButton::BrushButton(int brush, const QString &caption, const QString &iconPath)
    : m_button(new QToolButton)
    , m_caption(new QLabel(caption))
    , m_brush(brush)
{
    m_button->setFixedSize(kButtonSize, kButtonSize);
    m_button->setIcon(QIcon(iconPath));
    m_button->setIconSize(QSize(kIconSize, kIconSize));
    m_button->setCheckable(true);
    m_button->setAutoExclusive(true);
    m_button->setFocusPolicy(Qt::NoFocus); // arrow keys would move the mark without a press
    m_caption->setFont(QFont(QStringLiteral("Arial"), 7, QFont::Bold));
    setContentsMargins(0, 0, 0, 0);
    addWidget(m_button);
    addWidget(m_caption, 0, Qt::AlignBottom | Qt::AlignHCenter);
    connect(m_button, &QToolButton::pressed, this, &BrushButton::setBrush);
}

void BrushButton::setActive(bool active) { m_button->setChecked(active); }

void BrushButton::setToolTip(const QString &tip)
{
    m_button->setToolTip(tip);
    m_caption->setToolTip(tip);
}

void BrushButton::setBrush() { emit brushChosen(m_brush); }
