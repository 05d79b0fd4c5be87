#include "widgets/FieldText.h"

#include <QLocale>

#include <cmath>

namespace {

QLocale plainLocale()
{
    QLocale plain = QLocale::c();
    plain.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
    return plain;
}

} // namespace

float floatFromText(const QString &text)
{
    bool parsed = false;
    const float value = text.toFloat(&parsed); // QString's own conversions know no locale
    return parsed && std::isfinite(value) ? value : 0.0f;
}

int intFromText(const QString &text) { return text.toInt(nullptr, 10); }

QString textFromFloat(float value) { return QString::number(double(value), 'g', 6); }

DecimalValidator::DecimalValidator(double bottom, double top, int decimals, QObject *parent)
    : QDoubleValidator(bottom, top, decimals, parent)
{
    setLocale(plainLocale());
    setNotation(QDoubleValidator::StandardNotation);
}

QValidator::State DecimalValidator::validate(QString &text, int &position) const
{
    const State state = QDoubleValidator::validate(text, position);
    return state == Intermediate && text.toDouble() > top() ? Invalid : state;
}

IntegerValidator::IntegerValidator(QObject *parent)
    : QIntValidator(parent)
{
    setLocale(plainLocale());
}

QValidator::State IntegerValidator::validate(QString &text, int &position) const
{
    const State state = QIntValidator::validate(text, position);
    bool isNumber = false;
    static_cast<void>(text.toLongLong(&isNumber));
    return state == Intermediate && isNumber ? Invalid : state;
}
