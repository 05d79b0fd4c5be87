#pragma once

#include <QWidget>

/// The bar of the range slider, with a grip at each end. Tells which part of it was pressed and
/// lets every press through to the slider.
class RangeBar : public QWidget {
    Q_OBJECT

public:
    RangeBar();

    int minimumBarWidth() const { return m_minimumBarWidth; } ///< where drags stop, in pixels
    void endPress() { m_buttonPressed = false; }

signals:
    void sizeChanged();
    void leftActivated();
    void rightActivated();
    void centerActivated();
    void doubleClick();

public slots:
    void setLeft();
    void setRight();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    int m_minimumBarWidth = 60;
    bool m_buttonPressed = false; ///< a grip has taken the press that is under way
};
