#pragma once

#include <QAbstractButton>
#include <QColor>

/// The grip at either end of the range slider's bar. Its press emits clicked() at once and goes on,
/// unaccepted, to the bar and the slider, which drag.
class RangeButton : public QAbstractButton {
    Q_OBJECT

public:
    RangeButton();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QColor m_color;
};
