#include "timeline/TimeControls.h"

#include "app/Global.h"
#include "timeline/RangeSlider.h"
#include "timeline/Timeline.h"
#include "widgets/IntFieldGrp.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int kFirstFrame = 0;
constexpr int kLastFrame = 24;

/// Writes a limit back into its field, which may be the one that is being typed in: a lone "-",
/// which reads as 0, stays for the digits to come.
void writeBack(IntFieldGrp &row, int frame)
{
    if (frame != 0 || row.field()->text() != QLatin1String("-"))
        row.setValue(frame);
}

} // namespace

TimeControls::TimeControls()
    : m_min(new IntFieldGrp(QStringLiteral("Min")))
    , m_time(new IntFieldGrp(QStringLiteral("Time")))
    , m_max(new IntFieldGrp(QStringLiteral("Max")))
{
    auto *play = new QPushButton(QStringLiteral("Play"));
    play->setCheckable(true);
    play->setMinimumHeight(30);

    auto *group = new QGroupBox(QStringLiteral("Time"));
    auto *rows = new QVBoxLayout(group);
    rows->addLayout(m_min);
    rows->addLayout(m_max);
    rows->addLayout(m_time);
    rows->addWidget(play);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(group);

    m_min->setValue(kFirstFrame);
    m_max->setValue(kLastFrame);
    m_time->setValue(kFirstFrame);
    connect(m_min, &IntFieldGrp::valueChanged, this, &TimeControls::setMinTime);
    connect(m_max, &IntFieldGrp::valueChanged, this, &TimeControls::setMaxTime);
    connect(m_time, &IntFieldGrp::valueChanged, this, &TimeControls::setCurrentTime);
    connect(play, &QPushButton::pressed, Global::timeline(), &Timeline::playPause);
    // A press that is let go beside the button has played or paused, but left it as it was.
    connect(play, &QPushButton::released, Global::timeline(),
            [play] { play->setChecked(Global::timeline()->playing()); });
}

void TimeControls::setMinTime(int frame)
{
    Global::timeline()->setMinFrame(frame);
    refreshRange();
    showLimits();
}

void TimeControls::setMaxTime(int frame)
{
    Global::timeline()->setMaxFrame(frame);
    refreshRange();
    showLimits();
}

// Each limit may have pushed the other one. Writing a field calls back here only where its text
// changes, so this ends.
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
    m_min->setValue(kFirstFrame);
    m_max->setValue(kLastFrame);
    m_time->setValue(kFirstFrame);
    Global::timeline()->setMinFrame(kFirstFrame);
    refreshRange();
    Global::timeline()->setMaxFrame(kLastFrame);
    refreshRange();
    setCurrentTime(kFirstFrame);
}
