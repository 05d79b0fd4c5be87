#include "timeline/TimeControls.h"

#include "app/Global.h"
#include "timeline/RangeSlider.h"
#include "timeline/Timeline.h"
#include "widgets/IntFieldGrp.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

constexpr int kFirstFrame = 0;
constexpr int kLastFrame = 24;

/// Writes a limit back into its field, which may be the one that is being typed in: a lone "-",
/// which reads as 0, stays for the digits to come.
void writeBack(IntFieldGrp &row, int frame)
{
    const QSignalBlocker silent(row); // the timeline has it already
    if (frame != 0 || row.field()->text() != QLatin1String("-"))
        row.setValue(frame);
}

} // namespace

TimeControls::TimeControls()
    : m_min(new IntFieldGrp(QStringLiteral("Min")))
    , m_time(new IntFieldGrp(QStringLiteral("Time")))
    , m_max(new IntFieldGrp(QStringLiteral("Max")))
    , m_play(new QPushButton(QStringLiteral("Play")))
{
    m_play->setCheckable(true);
    m_play->setMinimumHeight(30);

    m_min->setToolTip(QStringLiteral("First frame"));
    m_max->setToolTip(QStringLiteral("Last frame"));
    m_time->setToolTip(QStringLiteral("Frame shown; Left and Right step"));
    m_play->setToolTip(QStringLiteral("Play in a loop, or stop"));

    auto *group = new QGroupBox(QStringLiteral("Time"));
    auto *rows = new QVBoxLayout(group);
    rows->addLayout(m_min);
    rows->addLayout(m_max);
    rows->addLayout(m_time);
    rows->addWidget(m_play);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(group);

    m_min->setValue(kFirstFrame);
    m_max->setValue(kLastFrame);
    m_time->setValue(kFirstFrame);
    for (const IntFieldGrp *row : { m_min, m_max }) {
        connect(row->field(), &QLineEdit::textEdited, this, [this, row] { noteTyping(row); });
        connect(row->field(), &QLineEdit::editingFinished, this, [this] { m_edited = nullptr; });
    }
    connect(m_min, &IntFieldGrp::valueChanged, this, &TimeControls::setMinTime);
    connect(m_max, &IntFieldGrp::valueChanged, this, &TimeControls::setMaxTime);
    connect(m_time, &IntFieldGrp::valueChanged, this, &TimeControls::setCurrentTime);
    connect(m_play, &QPushButton::pressed, Global::timeline(), &Timeline::playPause);
    // A press that is let go beside the button has played or paused, but left it as it was.
    connect(m_play, &QPushButton::released, Global::timeline(),
            [this] { m_play->setChecked(Global::timeline()->playing()); });
}

// Typing passes through numbers that nobody means: on its way to 1050 a last frame is 1. So every
// stroke of one edit starts from the limits before it, and pushes only what its number crosses.
void TimeControls::noteTyping(const IntFieldGrp *row)
{
    if (m_edited != row)
        m_beforeEdit = { Global::timeline()->minFrame(), Global::timeline()->maxFrame() };
    m_edited = row;
    m_typing = true;
}

FrameRange TimeControls::limitsToPush()
{
    if (!std::exchange(m_typing, false))
        m_edited = nullptr; // new limits from elsewhere end the edit
    if (m_edited)
        return m_beforeEdit;
    return { Global::timeline()->minFrame(), Global::timeline()->maxFrame() };
}

void TimeControls::setMinTime(int frame)
{
    const int last = std::max(limitsToPush().end, frame);
    Global::timeline()->setMinFrame(frame);
    Global::timeline()->setMaxFrame(last);
    refreshRange();
    showLimits();
}

void TimeControls::setMaxTime(int frame)
{
    const int first = std::min(limitsToPush().start, frame);
    Global::timeline()->setMinFrame(first);
    Global::timeline()->setMaxFrame(frame);
    refreshRange();
    showLimits();
}

// Each limit may have pushed the other one.
void TimeControls::showLimits()
{
    writeBack(*m_min, Global::timeline()->minFrame());
    writeBack(*m_max, Global::timeline()->maxFrame());
}

void TimeControls::refreshRange()
{
    if (RangeSlider *const slider = Global::rangeSlider())
        slider->setNewRange();
}

void TimeControls::setCurrentTime(int frame)
{
    if (m_ignoreNextTime) {
        m_ignoreNextTime = false;
        return;
    }
    Global::timeline()->setCurrentFrame(frame);
}

void TimeControls::showFrame(int frame)
{
    m_ignoreNextTime = true;
    m_time->setValue(frame);
    // A field that shows the frame already sends no signal, and the flag would swallow the
    // artist's next edit.
    m_ignoreNextTime = false;
}

void TimeControls::reset()
{
    Global::timeline()->stop();
    m_play->setChecked(false);
    m_min->setValue(kFirstFrame);
    m_max->setValue(kLastFrame);
    m_time->setValue(kFirstFrame);
    Global::timeline()->setMinFrame(kFirstFrame);
    refreshRange();
    Global::timeline()->setMaxFrame(kLastFrame);
    refreshRange();
    setCurrentTime(kFirstFrame);
}
