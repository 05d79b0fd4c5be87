#pragma once

#include <QVBoxLayout>

class QLabel;
class QToolButton;

/// One brush of the shelf: a picture button over its caption. Chosen on the press, not on the
/// release, so that a quick pen tap is enough.
/// A layout: the widget that takes it in becomes the parent of its parts.
class BrushButton : public QVBoxLayout {
    Q_OBJECT

public:
    BrushButton(int brush, const QString &caption, const QString &iconPath);

    int brush() const { return m_brush; }
    /// Shows the button as the active brush's. Turning one on turns its neighbours off.
    void setActive(bool active);
    void setToolTip(const QString &tip);
    QToolButton *button() const { return m_button; }

signals:
    void brushChosen(int brush);

public slots:
    void setBrush();

private:
    QToolButton *m_button;
    QLabel *m_caption;
    int m_brush;
};
