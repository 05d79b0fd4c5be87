#include "widgets/IntFieldGrp.h"

#include "widgets/FieldText.h"
#include "widgets/Log.h"

#include <QLabel>
#include <QLineEdit>

IntFieldGrp::IntFieldGrp(const QString &label)
    : m_label(new QLabel(label))
    , m_field(new QLineEdit(QStringLiteral("0")))
{
    m_field->setMaximumWidth(40);
    m_field->setValidator(new IntegerValidator(m_field));
    // The validator has no range, deliberately; the line marks that negative input gets through.
    qCDebug(lcWidgets).noquote() << "QIntValidator BUG negative numbers";
    addWidget(m_label);
    addWidget(m_field);
    connect(m_field, &QLineEdit::textChanged, this, &IntFieldGrp::fieldChanged);
}

void IntFieldGrp::setValue(int value)
{
    const QString text = QString::number(value);
    if (m_field->text() == text)
        return; // whoever types it keeps the cursor
    m_field->setText(text);
    if (!m_field->hasFocus())
        m_field->setCursorPosition(0); // a long number shows its leading digits
}

void IntFieldGrp::setLabel(const QString &label) { m_label->setText(label); }

void IntFieldGrp::setToolTip(const QString &tip)
{
    m_label->setToolTip(tip);
    m_field->setToolTip(tip);
}

void IntFieldGrp::fieldChanged(const QString &text) { emit valueChanged(intFromText(text)); }
