#include "widgets/FloatSliderGrp.h"

#include "widgets/FieldText.h"

#include <QLabel>
#include <QLineEdit>
#include <QScopedValueRollback>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>
#include <cmath>

namespace {

// The product is a single-precision one, deliberately: 0.53 stands at 52. Clamped before it becomes
// an int, which could not hold a value from far outside.
int sliderPosition(float value)
{
    const float position = value * 100.0f;
    return int(std::clamp(position, 0.0f, 100.0f));
}

} // namespace

FloatSliderGrp::FloatSliderGrp(const QString &label)
    : m_label(new QLabel(label))
    , m_slider(new QSlider(Qt::Horizontal))
    , m_field(new QLineEdit(QStringLiteral("1")))
{
    m_slider->setRange(0, 100);
    m_slider->setValue(100);
    m_field->setMaximumWidth(30);
    m_field->setValidator(new DecimalValidator(0.0, 1.0, 2, m_field));
    addWidget(m_label);
    addWidget(m_slider);
    addWidget(m_field);
    connect(m_slider, &QSlider::valueChanged, this, &FloatSliderGrp::sliderChanged);
    connect(m_field, &QLineEdit::textChanged, this, &FloatSliderGrp::fieldChanged);
}

void FloatSliderGrp::setValue(float value)
{
    m_field->setText(textFromFloat(std::isnan(value) ? 0.0f : std::clamp(value, 0.0f, 1.0f)));
    m_field->setCursorPosition(0); // a long number shows its leading digits
}

void FloatSliderGrp::setLabel(const QString &label) { m_label->setText(label); }

void FloatSliderGrp::setToolTip(const QString &tip)
{
    m_label->setToolTip(tip);
    m_slider->setToolTip(tip);
    m_field->setToolTip(tip);
}

void FloatSliderGrp::sliderChanged(int position)
{
    const float value = float(position) / 100.0f;
    {
        const QScopedValueRollback<bool> leads(m_sliderLeads, true);
        m_field->setText(textFromFloat(value));
    }
    emit valueChanged(value);
}

void FloatSliderGrp::fieldChanged(const QString &text)
{
    const float value = floatFromText(text);
    emit valueChanged(value);
    if (m_sliderLeads)
        return; // truncation would drag a slider set to 53 by hand back to 52
    const QSignalBlocker silent(m_slider);
    m_slider->setValue(sliderPosition(value));
}
