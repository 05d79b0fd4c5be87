#include "timeline/Timeline.h"

#include "app/Global.h"
#include "app/SceneChange.h"
#include "layers/Envelope.h"
#include "layers/Layer.h"
#include "timeline/TimeControls.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr int kHeight = 140;
constexpr int kOutlineRadius = 6;
const QColor kOutlineColor(80, 80, 80);
const QColor kTickColor(110, 110, 110);
const QColor kMarkerColor(210, 210, 210);
const QColor kKeyColor(255, 0, 0);
constexpr double kDotRadius = 4.0;
constexpr double kFlaggedDotRadius = 7.0;

} // namespace

Timeline::Timeline(TimeControls *owner)
    : QWidget(owner)
    , m_owner(owner)
    , m_playTimer(new QTimer(this))
{
    setObjectName(QStringLiteral("Timeline"));
    setFixedHeight(kHeight);
    setAttribute(Qt::WA_StyledBackground); // else the style sheet's background is not painted
    connect(m_playTimer, &QTimer::timeout, this, &Timeline::timeFoward);
}

void Timeline::setMinFrame(int frame)
{
    m_minFrame = frame;
    m_maxFrame = std::max(m_maxFrame, frame);
    setRangeStart(frame);
}

void Timeline::setMaxFrame(int frame)
{
    m_maxFrame = frame;
    m_minFrame = std::min(m_minFrame, frame);
    setRangeEnd(frame);
}

void Timeline::setRangeStart(int frame)
{
    m_range.start = frame;
    update();
}

void Timeline::setRangeEnd(int frame)
{
    m_range.end = frame;
    update();
}

void Timeline::setFramesPerSecond(double framesPerSecond)
{
    m_framesPerSecond = framesPerSecond;
    m_playTimer->setInterval(playInterval(framesPerSecond));
    update(); // keys stay in seconds, so their frames change
}

void Timeline::setCurrentFrame(int frame)
{
    const SceneChange change;
    enterFrame(frame);
}

void Timeline::enterFrame(int frame)
{
    m_currentFrame = frame;
    ++m_frameSerial;
    update();
}

void Timeline::previousFrame() { stepTo(::previousFrame(m_currentFrame, m_range)); }

void Timeline::nextFrame() { stepTo(::nextFrame(m_currentFrame, m_range)); }

void Timeline::stepTo(int frame)
{
    setCurrentFrame(frame);
    if (!m_playing)
        showFrame();
}

void Timeline::timeFoward() { nextFrame(); }

void Timeline::playPause()
{
    m_playing = !m_playing;
    if (m_playing) {
        m_playTimer->start(playInterval(m_framesPerSecond));
        return;
    }
    const SceneChange change;
    stop();
    showFrame();
}

void Timeline::stop()
{
    m_playTimer->stop();
    m_playing = false;
}

void Timeline::showFrame() const
{
    TimeControls *controls = m_owner ? m_owner : Global::timeControls();
    if (controls)
        controls->showFrame(m_currentFrame);
}

bool Timeline::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip)
        setToolTip(tipAt(static_cast<QHelpEvent *>(event)->pos()));
    return QWidget::event(event);
}

QString Timeline::tipAt(const QPoint &position) const
{
    const int frame = frameUnder(rulerPoint(position, size(), m_range), m_range);
    QString here = QStringLiteral("Frame %1").arg(frame);
    if (Layer *const layer = Global::currentLayer()) {
        const std::vector<LayerKey> &keys = std::as_const(*layer).data()->keys();
        const int key = firstKeyAt(keys, frame, m_framesPerSecond);
        if (key >= 0)
            here += QStringLiteral(", key %1").arg(double(keys[size_t(key)].value), 0, 'g', 2);
    }
    return here +
        QStringLiteral("\nDrag scrubs, Shift click adds a key, Control click removes one,\n"
                       "right drag up and down changes one");
}

void Timeline::mousePressEvent(QMouseEvent *event)
{
    m_lastPosition = rulerPoint(event->pos(), size(), m_range);
    m_pressedFrame = frameUnder(m_lastPosition, m_range);
    m_draggedKey = -1;
    m_pressedLayer = Global::currentLayer();
    m_dragMode = m_pressedLayer ? pressMode(*event) : DragMode::Scrub;
    editKeys();
    update();
}

Timeline::DragMode Timeline::pressMode(const QMouseEvent &event)
{
    if (event.buttons() == Qt::LeftButton) {
        if (event.modifiers() & Qt::ShiftModifier)
            return DragMode::AddKey;
        return event.modifiers() & Qt::ControlModifier ? DragMode::RemoveKey : DragMode::Scrub;
    }
    std::vector<LayerKey> &keys = m_pressedLayer->data()->keys();
    const int found = firstKeyAt(keys, m_pressedFrame, m_framesPerSecond);
    m_draggedKey = sortKeysAround(keys, found);
    return m_draggedKey < 0 ? DragMode::Scrub : DragMode::DragKey;
}

void Timeline::editKeys()
{
    std::vector<LayerKey> *keys = pressedKeys();
    if (!keys)
        return;
    if (m_dragMode != DragMode::AddKey && m_dragMode != DragMode::RemoveKey)
        return;
    const SceneChange change;
    if (m_dragMode == DragMode::AddKey)
        addKey(*keys, m_pressedFrame, m_lastPosition.value, m_framesPerSecond);
    else
        removeKey(*keys, m_pressedFrame, m_framesPerSecond);
}

std::vector<LayerKey> *Timeline::pressedKeys() const
{
    const std::vector<Layer *> &layers = Global::layers();
    const bool alive = std::find(layers.begin(), layers.end(), m_pressedLayer) != layers.end();
    return alive ? &m_pressedLayer->data()->keys() : nullptr;
}

void Timeline::mouseMoveEvent(QMouseEvent *event)
{
    const RulerPoint position = rulerPoint(event->pos(), size(), m_range);
    const int frame = clampedFrame(frameUnder(position, m_range), m_range);
    const float rise = position.value - m_lastPosition.value;
    m_lastPosition = position;
    if (m_dragMode == DragMode::Scrub && frame != m_currentFrame) {
        const SceneChange change; // a slow frame's number shows before its picture does
        enterFrame(frame);
        showFrame();
    } else if (m_dragMode == DragMode::DragKey) {
        dragKey(rise);
    }
    update();
}

void Timeline::dragKey(float change)
{
    std::vector<LayerKey> *keys = pressedKeys();
    if (!keys || size_t(m_draggedKey) >= keys->size())
        return;
    const SceneChange sceneChange;
    LayerKey &key = (*keys)[size_t(m_draggedKey)];
    key.value = draggedValue(key.value, change);
}

void Timeline::mouseReleaseEvent(QMouseEvent *)
{
    m_dragMode = DragMode::None;
    update();
}

void Timeline::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(kOutlineColor, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawRoundedRect(rect(), kOutlineRadius, kOutlineRadius);
    paintTicks(painter);
    paintMarker(painter);
    paintKeys(painter);
}

// Ticks and marker are laid on whole pixels of the screen, of which a unit may have one and a half:
// smoothed between two columns they would look dim.
QRectF Timeline::onScreenPixels(double left, double width) const
{
    const double scale = devicePixelRatioF();
    const double pixels = std::max(std::floor(width * scale), 1.0);
    return { std::floor(left * scale) / scale, 0.0, pixels / scale, double(height()) };
}

void Timeline::paintTicks(QPainter &painter) const
{
    for (const int column : tickColumns(width(), m_range))
        painter.fillRect(onScreenPixels(column, 1), kTickColor);
}

void Timeline::paintMarker(QPainter &painter) const
{
    const QRectF marker = markerRect(m_currentFrame, size(), m_range);
    painter.fillRect(onScreenPixels(marker.left(), marker.width()), kMarkerColor);
}

void Timeline::paintKeys(QPainter &painter) const
{
    Layer *const layer = Global::currentLayer();
    if (!layer)
        return;
    std::vector<LayerKey> &keys = layer->data()->keys();
    sortKeys(keys);
    std::vector<QPointF> points;
    points.reserve(keys.size());
    for (const LayerKey &key : keys)
        points.push_back(keyPoint(key, m_framesPerSecond, size(), m_range));

    painter.setPen(QPen(Qt::black, 1, Qt::DotLine));
    painter.setBrush(Qt::NoBrush);
    for (size_t i = 1; i < points.size(); ++i)
        painter.drawPath(keyCurve(points[i - 1], points[i], width()));

    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(kKeyColor);
    for (size_t i = 0; i < points.size(); ++i) {
        const double radius = keys[i].flag ? kFlaggedDotRadius : kDotRadius;
        if (points[i].x() >= -radius && points[i].x() <= width() + radius)
            painter.drawEllipse(points[i], radius, radius);
    }
}
