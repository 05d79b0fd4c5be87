#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

/// The licence check: a key file holds the keyed hash of this machine's request code. It hides
/// nothing and protects nothing but honesty; the program goes on either way.
namespace Licence {

/// Hexadecimal SHA-256 of the machine's unique id, shortened to what a person can dictate.
QByteArray requestCode();
/// Hexadecimal HMAC-SHA-256 (RFC 2104) of a request code.
QByteArray keyFor(const QByteArray &requestCode);
bool isRightKey(const QByteArray &key);

/// "licence.key" beside the program, or in the user's own configuration folder where the program is
/// installed under /usr, into which no program writes.
QString keyFilePath(const QString &programFolder = QCoreApplication::applicationDirPath());
/// Whether the key file is there, readable and right.
bool isLicensed();
/// False, with any earlier key file as it was, when the file cannot be written.
bool store(const QByteArray &key);

}
