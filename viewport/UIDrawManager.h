#pragma once

#include <QPoint>
#include <QWidget>

class QPainter;

enum class OverlayMode : int { Radius = 0, Strength = 1, Compare = 2 };

/// The transparent sheet over a view that shows what a middle or wipe drag does: the brush's
/// circle, the strength bar, the wipe's line. It also writes the two brush settings that those
/// drags change. Positions are widget pixels from the top. It never takes the mouse.
class UIDrawManager : public QWidget {
    Q_OBJECT

public:
    /// Sets the brush radius to 80 pixels and the strength to 1.
    explicit UIDrawManager(QWidget *parent);

    void setMode(OverlayMode mode) { m_mode = mode; }
    /// A drag starts here; the sheet shows.
    void setPosition(const QPoint &position);
    /// Radius and strength follow the horizontal distance from the start; the caller repaints.
    void drag(const QPoint &position);
    /// The drag is over; the caller repaints.
    void conceal() { m_shown = false; }
    bool isShown() const { return m_shown; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void paintRadius(QPainter &painter) const;
    void paintStrength(QPainter &painter) const;
    void paintCompareLine(QPainter &painter) const;

    OverlayMode m_mode = OverlayMode::Radius;
    static constexpr int kStrengthLength = 300; ///< pixels of the whole bar
    int m_strengthPosition = kStrengthLength; ///< pixels along the bar
    int m_strengthAtPress = kStrengthLength;
    QPoint m_press;
    bool m_shown = false;
    int m_radius = 80; ///< pixels
    int m_radiusAtPress = 80;
    QPoint m_comparePosition;
};
