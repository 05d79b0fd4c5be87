#include "timeline/RangeBar.h"

#include "timeline/RangeButton.h"

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>

namespace {

constexpr int kSpacing = 8;

} // namespace

RangeBar::RangeBar()
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    auto *left = new RangeButton;
    auto *right = new RangeButton;
    auto *row = new QHBoxLayout(this);
    // Narrow enough that the layout can follow a drag down to the bar's minimum width.
    row->setContentsMargins(kSpacing, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(left, 0, Qt::AlignVCenter);
    row->addSpacing(kSpacing);
    row->addStretch();
    row->addWidget(right);
    row->addSpacing(kSpacing);
    connect(left, &RangeButton::clicked, this, &RangeBar::setLeft);
    connect(right, &RangeButton::clicked, this, &RangeBar::setRight);
}

void RangeBar::setLeft()
{
    emit leftActivated();
    m_buttonPressed = true;
}

void RangeBar::setRight()
{
    emit rightActivated();
    m_buttonPressed = true;
}

void RangeBar::mousePressEvent(QMouseEvent *event)
{
    if (!m_buttonPressed)
        emit centerActivated();
    event->ignore();
}

void RangeBar::mouseDoubleClickEvent(QMouseEvent *event)
{
    emit doubleClick();
    event->ignore();
}

void RangeBar::resizeEvent(QResizeEvent *) { emit sizeChanged(); }

void RangeBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(60, 60, 60), 4, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    painter.setBrush(QColor(160, 160, 160));
    painter.drawRoundedRect(rect(), 8, 8, Qt::AbsoluteSize);
}
