#pragma once

#include <QHBoxLayout>

class QLabel;
class QLineEdit;
class QSlider;

/// A row of label, slider and field for a number from 0 to 1; the slider stands at value × 100.
/// A layout: the widget that takes it in becomes the parent of its parts.
///
/// A slider moved by hand emits valueChanged() twice, deliberately: once as the field it wrote
/// reads, once as the slider stands. A slider that the field moved writes nothing back, so that a
/// typed 0.53 stays 0.53 though its single-precision × 100 truncates to 52.
class FloatSliderGrp : public QHBoxLayout {
    Q_OBJECT

public:
    explicit FloatSliderGrp(const QString &label);

    /// Writes the value, clamped to 0…1, into the field, which does the rest.
    void setValue(float value);
    void setLabel(const QString &label);
    void setToolTip(const QString &tip); ///< of the whole row
    QLineEdit *field() const { return m_field; }
    QSlider *slider() const { return m_slider; }

signals:
    void valueChanged(float value);

public slots:
    void sliderChanged(int position);
    void fieldChanged(const QString &text);

private:
    QLabel *m_label;
    QSlider *m_slider;
    QLineEdit *m_field;
    bool m_sliderLeads = false; ///< the field is being written by the slider
};
