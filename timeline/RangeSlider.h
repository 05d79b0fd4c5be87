#pragma once

#include "timeline/RangeMath.h"

#include <QWidget>

#include <memory>

class QPushButton;
class QSpacerItem;
class RangeBar;

/// The strip under the ruler that chooses which frames the ruler shows: a bar between two empty
/// margins. Dragging an end trims, dragging the body slides, a double click shows the whole shot.
/// The range itself is the timeline's; the slider only knows its margins.
class RangeSlider : public QWidget {
    Q_OBJECT

public:
    RangeSlider();
    ~RangeSlider() override;
    /// The bar's, whatever the margins: they give way to a narrower window.
    QSize minimumSizeHint() const override;

signals:
    void sizeChanged();

public slots:
    void enableLeft();
    void enableRight();
    void enableCenter();
    void setNewRange(); ///< tells the timeline the frames that the margins leave
    void resetSize();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    enum class DragMode { None = 0, Left = 1, Right = 2, Body = 3 };

    RangeMargins draggedMargins(int dx) const;
    void setMargins(const RangeMargins &margins);
    void applyMargins();
    void endDrag();

    DragMode m_dragMode = DragMode::None;
    RangeBar *m_bar;
    QSpacerItem *m_leftSpacer; ///< the layout owns both
    QSpacerItem *m_rightSpacer;
    RangeMargins m_margins;
    RangeMargins m_setMargins; ///< as the last drag left them, in a slider of m_setWidth:
    int m_setWidth = 0; ///< resizes start from these, so that rounding does not add up
    int m_lastX = 0;
    bool m_pressed = false;
    std::unique_ptr<QPushButton> m_center; ///< deliberately never placed nor shown
};
