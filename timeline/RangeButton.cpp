#include "timeline/RangeButton.h"

#include <QMouseEvent>
#include <QPainter>

RangeButton::RangeButton()
    : m_color(120, 120, 120, 255)
{
    setFixedSize(15, 15);
    setMouseTracking(true);
    // The space bar on a focused button would start a drag that no release ends.
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::SizeHorCursor);
}

void RangeButton::mousePressEvent(QMouseEvent *event)
{
    emit clicked();
    event->ignore();
}

void RangeButton::mouseMoveEvent(QMouseEvent *event) { event->ignore(); }

void RangeButton::mouseReleaseEvent(QMouseEvent *event) { event->ignore(); }

void RangeButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(m_color.darker(), 1));
    painter.setBrush(m_color);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    for (const double x : { 5.5, 9.5 })
        painter.drawLine(QLineF(x, 4, x, height() - 4));
}
