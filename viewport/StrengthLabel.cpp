#include "viewport/StrengthLabel.h"

QString strengthLabel(float strength)
{
    QString digits = QString::number(double(strength), 'g', 6);
    if (!(strength < 1.0f) || strength == 0.0f)
        return digits;
    if (digits.contains(QLatin1Char('e'))) // below 0.0001 the general format turns to exponents
        return QStringLiteral("0.00");
    const int point = digits.indexOf(QLatin1Char('.'));
    const QString whole = point < 0 ? digits : digits.left(point);
    const QString decimals = point < 0 ? QString() : digits.mid(point + 1);
    return whole + QLatin1Char('.') + decimals.leftJustified(2, QLatin1Char('0'), true);
}
