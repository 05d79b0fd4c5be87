#include "viewport/UIDrawManager.h"

#include "app/Global.h"
#include "viewport/StrengthLabel.h"

#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int kTrackHeight = 16;
constexpr int kTrackCorner = 10;
constexpr int kLabelHeight = 23; // baseline over the press point
constexpr float kSmallestFill = 0.0254f; // a shorter filling would bulge out of the track's corners

}

UIDrawManager::UIDrawManager(QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setLayout(new QVBoxLayout);
    Global::setBrushRadius(m_radius);
    Global::setBrushStrength(1.0f);
}

void UIDrawManager::setPosition(const QPoint &position)
{
    // The other view's overlay may have changed the settings since the last drag here.
    m_radius = m_radiusAtPress = Global::brushRadius();
    m_strengthPosition = qRound(Global::brushStrength() * float(kStrengthLength));
    m_strengthAtPress = m_strengthPosition;
    m_press = m_comparePosition = position;
    m_shown = true;
    update();
}

void UIDrawManager::drag(const QPoint &position)
{
    const int distance = position.x() - m_press.x();
    switch (m_mode) {
    case OverlayMode::Radius:
        m_radius = std::max(m_radiusAtPress + distance, 0);
        Global::setBrushRadius(m_radius);
        break;
    case OverlayMode::Strength:
        m_strengthPosition = std::clamp(m_strengthAtPress + distance, 0, kStrengthLength);
        Global::setBrushStrength(float(m_strengthPosition) / float(kStrengthLength));
        break;
    case OverlayMode::Compare:
        m_comparePosition = position;
        break;
    }
}

void UIDrawManager::paintEvent(QPaintEvent *)
{
    if (!m_shown)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 2, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    switch (m_mode) {
    case OverlayMode::Radius:
        paintRadius(painter);
        break;
    case OverlayMode::Strength:
        paintStrength(painter);
        break;
    case OverlayMode::Compare:
        paintCompareLine(painter);
        break;
    }
}

void UIDrawManager::paintRadius(QPainter &painter) const
{
    painter.drawEllipse(m_press, m_radius, m_radius);
    painter.setPen(QPen(Qt::black, 5));
    painter.drawPoint(m_press);
}

void UIDrawManager::paintStrength(QPainter &painter) const
{
    const QPoint topLeft(m_press.x() - m_strengthAtPress, m_press.y() - kTrackHeight / 2);
    const QRect track(topLeft, QSize(kStrengthLength, kTrackHeight));
    painter.setBrush(QColor(0, 0, 0, 100));
    painter.drawRoundedRect(track, kTrackCorner, kTrackCorner);
    const float strength = Global::brushStrength();
    if (strength > kSmallestFill) {
        painter.setBrush(QColor(255, 0, 0, 200));
        painter.drawRoundedRect(QRect(topLeft, QSize(m_strengthPosition, kTrackHeight)),
                                kTrackCorner, kTrackCorner);
    }
    painter.drawText(topLeft.x(), m_press.y() - kLabelHeight,
                     QStringLiteral("Intensity: ") + strengthLabel(strength));
}

void UIDrawManager::paintCompareLine(QPainter &painter) const
{
    painter.setPen(QPen(Qt::darkYellow, 2, Qt::DotLine));
    painter.drawLine(m_comparePosition.x(), 0, m_comparePosition.x(), height());
}
