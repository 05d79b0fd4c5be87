#pragma once

#include <QByteArray>
#include <QString>

/// The licence check: a key file beside the program holds the keyed hash of this machine's request
/// code. It hides nothing and protects nothing but honesty; the program goes on either way.
namespace Licence {

/// Hexadecimal SHA-256 of the machine's unique id, shortened to what a person can dictate.
QByteArray requestCode();
/// Hexadecimal HMAC-SHA-256 (RFC 2104) of a request code.
QByteArray keyFor(const QByteArray &requestCode);
bool isRightKey(const QByteArray &key);

QString keyFilePath(); ///< "licence.key" beside the program
/// Whether the key file is there, readable and right.
bool isLicensed();
/// False, with any earlier key file as it was, when the file cannot be written.
bool store(const QByteArray &key);

}
