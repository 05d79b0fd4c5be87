#pragma once

#include "timeline/RulerMath.h"

#include <QWidget>

class Layer;
class QTimer;
class TimeControls;

/// The frame ruler: holds the current frame and the frame rate that all time-dependent parts read,
/// plays the shot, and lets the artist scrub and edit the selected layer's keys.
///
/// Translates events and paints; the arithmetic is in RulerMath.h. Keys belong to their layer and
/// are edited in place. Every change of frame or key ends in Global::evaluateLayers(true).
class Timeline : public QWidget {
    Q_OBJECT

public:
    /// Without an owner the application's controls are shown the frame, once they exist.
    explicit Timeline(TimeControls *owner = nullptr);

    int currentFrame() const { return m_currentFrame; }
    double framesPerSecond() const { return m_framesPerSecond; }
    /// Any rate above 0, such as 23.976; a running play timer goes on at the new one.
    void setFramesPerSecond(double framesPerSecond);
    double currentSeconds() const { return double(m_currentFrame) / m_framesPerSecond; }
    /// Another number each time a frame is gone to, also to the current one.
    quint64 frameSerial() const { return m_frameSerial; }
    int minFrame() const { return m_minFrame; }
    int maxFrame() const { return m_maxFrame; }
    int rangeStart() const { return m_range.start; }
    int rangeEnd() const { return m_range.end; }
    bool playing() const { return m_playing; }

    /// Each raises or lowers the other limit to itself where they would cross, and moves its side
    /// of the shown range.
    void setMinFrame(int frame);
    void setMaxFrame(int frame);
    void setRangeStart(int frame);
    void setRangeEnd(int frame);
    /// Takes any frame, also outside the range; the marker then lies outside the widget.
    void setCurrentFrame(int frame);

    void stop(); ///< ends playback without an evaluation, for a scene that goes
    void previousFrame(); ///< stops at the range's start
    void nextFrame(); ///< wraps from the range's end to its start

public slots:
    void playPause();
    void timeFoward();

protected:
    bool event(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    enum class DragMode { None = 0, Scrub = 1, AddKey = 2, RemoveKey = 3, DragKey = 4 };

    void showFrame() const;
    void stepTo(int frame);
    void enterFrame(int frame);
    DragMode pressMode(const QMouseEvent &event);
    void editKeys();
    void dragKey(float change);
    std::vector<LayerKey> *pressedKeys() const;

    QString tipAt(const QPoint &position) const;
    QRectF onScreenPixels(double left, double width) const;
    void paintTicks(QPainter &painter) const;
    void paintMarker(QPainter &painter) const;
    void paintKeys(QPainter &painter) const;

    TimeControls *m_owner;
    QTimer *m_playTimer;
    double m_framesPerSecond = 24.0;
    int m_minFrame = 0;
    int m_maxFrame = 24;
    int m_currentFrame = 0;
    quint64 m_frameSerial = 0;
    int m_pressedFrame = 0;
    bool m_playing = false;
    DragMode m_dragMode = DragMode::None;
    int m_draggedKey = -1;
    RulerPoint m_lastPosition;
    Layer *m_pressedLayer = nullptr; ///< may be deleted while it is remembered: see pressedKeys()
    FrameRange m_range;
};
