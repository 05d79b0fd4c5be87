#include "timeline/RangeSlider.h"

#include "app/Global.h"
#include "timeline/RangeBar.h"
#include "timeline/Timeline.h"

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPushButton>
#include <QResizeEvent>

namespace {

constexpr int kHeight = 25;

QSpacerItem *makeMargin()
{
    return new QSpacerItem(0, kHeight, QSizePolicy::Fixed, QSizePolicy::Minimum);
}

} // namespace

RangeSlider::RangeSlider()
    : m_bar(new RangeBar)
    , m_leftSpacer(makeMargin())
    , m_rightSpacer(makeMargin())
    , m_center(std::make_unique<QPushButton>(QStringLiteral("center")))
{
    setToolTip(QStringLiteral(
        "Frames that the ruler shows: drag an end, drag the bar, double click for all"));
    setFixedHeight(kHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMouseTracking(true);
    m_center->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addItem(m_leftSpacer);
    row->addWidget(m_bar);
    row->addItem(m_rightSpacer);

    connect(m_bar, &RangeBar::leftActivated, this, &RangeSlider::enableLeft);
    connect(m_bar, &RangeBar::rightActivated, this, &RangeSlider::enableRight);
    connect(m_bar, &RangeBar::centerActivated, this, &RangeSlider::enableCenter);
    connect(m_bar, &RangeBar::sizeChanged, this, &RangeSlider::setNewRange);
    connect(this, &RangeSlider::sizeChanged, this, &RangeSlider::setNewRange);
    connect(m_bar, &RangeBar::doubleClick, this, &RangeSlider::resetSize);
}

RangeSlider::~RangeSlider() = default;

QSize RangeSlider::minimumSizeHint() const { return { m_bar->minimumBarWidth(), kHeight }; }

void RangeSlider::enableLeft() { m_dragMode = DragMode::Left; }

void RangeSlider::enableRight() { m_dragMode = DragMode::Right; }

void RangeSlider::enableCenter() { m_dragMode = DragMode::Body; }

void RangeSlider::setNewRange()
{
    Timeline *const timeline = Global::timeline();
    if (!timeline)
        return;
    const FrameRange shown =
        shownFrames(m_margins, width(), timeline->minFrame(), timeline->maxFrame());
    timeline->setRangeStart(shown.start);
    timeline->setRangeEnd(shown.end);
}

void RangeSlider::resetSize()
{
    setMargins({});
    applyMargins();
    emit sizeChanged();
}

void RangeSlider::setMargins(const RangeMargins &margins)
{
    m_margins = m_setMargins = margins;
    m_setWidth = width();
}

void RangeSlider::mousePressEvent(QMouseEvent *event)
{
    m_lastX = event->x();
    m_pressed = true;
}

void RangeSlider::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons() == Qt::NoButton)
        endDrag(); // of which the release went elsewhere
    const int dx = event->x() - m_lastX;
    m_lastX = event->x();
    if (!m_pressed || m_dragMode == DragMode::None)
        return;
    setMargins(draggedMargins(dx));
    if (m_dragMode == DragMode::Body)
        emit sizeChanged(); // the bar keeps its size, so it will not tell
    applyMargins();
}

RangeMargins RangeSlider::draggedMargins(int dx) const
{
    if (m_dragMode == DragMode::Body)
        return dragBody(m_margins, dx);
    const auto drag = m_dragMode == DragMode::Left ? dragLeftEnd : dragRightEnd;
    return drag(m_margins, dx, m_bar->width(), m_bar->minimumBarWidth());
}

// The layout is carried out at once: two moves that arrive before it would both take the bar's old
// width for their limit and squeeze it below its minimum.
void RangeSlider::applyMargins()
{
    m_leftSpacer->changeSize(m_margins.left, kHeight, QSizePolicy::Fixed, QSizePolicy::Minimum);
    m_rightSpacer->changeSize(m_margins.right, kHeight, QSizePolicy::Fixed, QSizePolicy::Minimum);
    layout()->invalidate();
    layout()->activate();
}

void RangeSlider::mouseReleaseEvent(QMouseEvent *) { endDrag(); }

void RangeSlider::endDrag()
{
    m_dragMode = DragMode::None;
    m_bar->endPress();
    m_pressed = false;
}

void RangeSlider::resizeEvent(QResizeEvent *event)
{
    m_margins = scaledMargins(m_setMargins, m_setWidth, event->size().width());
    applyMargins();
}
