#pragma once

#include <QHBoxLayout>

class QLabel;
class QLineEdit;

/// A row of label and field for a 32-bit integer, negative ones included.
/// A layout: the widget that takes it in becomes the parent of its parts.
class IntFieldGrp : public QHBoxLayout {
    Q_OBJECT

public:
    explicit IntFieldGrp(const QString &label);

    void setValue(int value);
    void setLabel(const QString &label);
    void setToolTip(const QString &tip); ///< of the whole row
    QLineEdit *field() const { return m_field; }

signals:
    void valueChanged(int value);

public slots:
    void fieldChanged(const QString &text);

private:
    QLabel *m_label;
    QLineEdit *m_field;
};
