#include "widgets/FloatFieldGrp.h"

#include "widgets/FieldText.h"

#include <QLabel>
#include <QLineEdit>

FloatFieldGrp::FloatFieldGrp(const QString &label)
    : m_label(new QLabel(label))
    , m_field(new QLineEdit(QStringLiteral("0")))
{
    m_field->setMaximumWidth(30);
    m_field->setValidator(new DecimalValidator(0.0, 1.0, 2, m_field));
    addWidget(m_label);
    addWidget(m_field);
    connect(m_field, &QLineEdit::textChanged, this, &FloatFieldGrp::fieldChanged);
}

void FloatFieldGrp::setValue(float value)
{
    m_field->setText(textFromFloat(value));
    m_field->setCursorPosition(0); // a long number shows its leading digits
}

void FloatFieldGrp::setLabel(const QString &label) { m_label->setText(label); }

void FloatFieldGrp::setToolTip(const QString &tip)
{
    m_label->setToolTip(tip);
    m_field->setToolTip(tip);
}

void FloatFieldGrp::setRange(double minimum, double maximum, int decimals)
{
    const QValidator *old = m_field->validator();
    m_field->setValidator(new DecimalValidator(minimum, maximum, decimals, m_field));
    delete old;
}

void FloatFieldGrp::fieldChanged(const QString &text) { emit valueChanged(floatFromText(text)); }
