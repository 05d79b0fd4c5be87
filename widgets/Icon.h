#pragma once

#include <QLabel>

/// A label that tells of the mouse: a small picture, or text, to click on.
class Icon : public QLabel {
    Q_OBJECT

public:
    using QLabel::QLabel;

signals:
    void clicked(); ///< on the press
    void doubleClicked();
    void hover(); ///< the pointer came in

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void enterEvent(QEvent *event) override;
};
