#pragma once

#include <QHBoxLayout>

class QLabel;
class QRadioButton;

/// A row of label and round on/off button. A second click turns it off: the button stands alone,
/// and is not auto-exclusive as its kind is elsewhere.
/// A layout: the widget that takes it in becomes the parent of its parts.
class TickBox : public QHBoxLayout {
    Q_OBJECT

public:
    explicit TickBox(const QString &label);

    void setValue(bool on);
    void setLabel(const QString &label);
    void setToolTip(const QString &tip); ///< of the whole row
    QRadioButton *button() const { return m_button; }

signals:
    void toggled(bool value);

public slots:
    void setToggle(bool on);

private:
    QLabel *m_label;
    QRadioButton *m_button;
};
