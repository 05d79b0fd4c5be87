#pragma once

#include <QHBoxLayout>

class QLabel;
class QLineEdit;

/// A row of label and field for a number. What is typed is held to the range (0 to 1 with two
/// decimals unless setRange() says otherwise); what setValue() writes is not.
/// A layout: the widget that takes it in becomes the parent of its parts.
class FloatFieldGrp : public QHBoxLayout {
    Q_OBJECT

public:
    explicit FloatFieldGrp(const QString &label);

    void setValue(float value);
    void setLabel(const QString &label);
    void setToolTip(const QString &tip); ///< of the whole row
    void setRange(double minimum, double maximum, int decimals);
    QLineEdit *field() const { return m_field; }

signals:
    void valueChanged(float value);

public slots:
    void fieldChanged(const QString &text);

private:
    QLabel *m_label;
    QLineEdit *m_field;
};
