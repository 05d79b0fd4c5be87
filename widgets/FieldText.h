#pragma once

#include <QDoubleValidator>
#include <QIntValidator>
#include <QString>

/// How numbers travel through the text of a field: always the C locale, whatever the user's is.

/// The text as a float; 0 where it does not parse or is not finite.
float floatFromText(const QString &text);
/// The text as a base-10 32-bit integer; 0 where it does not parse.
int intFromText(const QString &text);
/// Shortest decimal text with up to 6 significant digits: "0.5", "1".
QString textFromFloat(float value);

/// Plain decimal numbers in the C locale. Stricter than its base: a number above the top is refused
/// while it is typed, instead of being let through as something that may still become valid.
class DecimalValidator : public QDoubleValidator {
public:
    DecimalValidator(double bottom, double top, int decimals, QObject *parent);
    State validate(QString &text, int &position) const override;
};

/// Plain whole numbers in the C locale, without a range of their own. As strict as the above: its
/// base would let 2147483648 through as something that may still become valid.
class IntegerValidator : public QIntValidator {
public:
    explicit IntegerValidator(QObject *parent);
    State validate(QString &text, int &position) const override;
};
