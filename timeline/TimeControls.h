#pragma once

#include "timeline/RulerMath.h"

#include <QWidget>

class IntFieldGrp;
class QPushButton;

/// The fields of the shot's first, last and current frame, and the Play button. They steer the
/// timeline and keep ruler, fields and range slider telling the same range.
class TimeControls : public QWidget {
    Q_OBJECT

public:
    TimeControls();

    /// Shows a frame that the timeline has applied already, without applying it again.
    void showFrame(int frame);
    /// Back to frames 0 to 24 at frame 0, playback stopped.
    void reset();

public slots:
    void setMinTime(int frame);
    void setMaxTime(int frame);
    void setCurrentTime(int frame);

private:
    void refreshRange();
    void showLimits();
    void noteTyping(const IntFieldGrp *row);
    FrameRange limitsToPush();

    bool m_ignoreNextTime =
        false; ///< the next change of the Time field only shows, see showFrame()
    IntFieldGrp *m_min;
    IntFieldGrp *m_time;
    IntFieldGrp *m_max;
    QPushButton *m_play;
    const IntFieldGrp *m_edited = nullptr; ///< the limit that is being typed
    FrameRange m_beforeEdit; ///< both limits before the first stroke of that
    bool m_typing = false; ///< the change that comes next was typed
};
