#include "widgets/TickBox.h"

#include <QLabel>
#include <QRadioButton>

TickBox::TickBox(const QString &label)
    : m_label(new QLabel(label))
    , m_button(new QRadioButton)
{
    m_button->setAutoExclusive(false);
    addWidget(m_label);
    addWidget(m_button, 0, Qt::AlignLeft);
    connect(m_button, &QRadioButton::toggled, this, &TickBox::setToggle);
}

void TickBox::setValue(bool on) { m_button->setChecked(on); }

void TickBox::setLabel(const QString &label) { m_label->setText(label); }

void TickBox::setToolTip(const QString &tip)
{
    m_label->setToolTip(tip);
    m_button->setToolTip(tip);
}

void TickBox::setToggle(bool on) { emit toggled(on); }
