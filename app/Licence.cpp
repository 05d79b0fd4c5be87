#include "app/Licence.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMessageAuthenticationCode>
#include <QSaveFile>
#include <QStandardPaths>
#include <QSysInfo>

namespace {
constexpr int kCodeLength = 32; // hexadecimal digits: 128 bits
constexpr qint64 kLongestKeyFile = 4096;
const QByteArray kSecret = QByteArrayLiteral("plexmold-1.0-licence");
}

QByteArray Licence::requestCode()
{
    return QCryptographicHash::hash(QSysInfo::machineUniqueId(), QCryptographicHash::Sha256)
        .toHex()
        .left(kCodeLength);
}

QByteArray Licence::keyFor(const QByteArray &requestCode)
{
    return QMessageAuthenticationCode::hash(requestCode, kSecret, QCryptographicHash::Sha256)
        .toHex();
}

bool Licence::isRightKey(const QByteArray &key) { return key.toLower() == keyFor(requestCode()); }

QString Licence::keyFilePath(const QString &programFolder)
{
    const bool installed = programFolder.startsWith(QLatin1String("/usr/"));
    const QString folder = installed
        ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
            QStringLiteral("/plexmold")
        : programFolder;
    return folder + QStringLiteral("/licence.key");
}

bool Licence::isLicensed()
{
    QFile file(keyFilePath());
    return file.open(QIODevice::ReadOnly) && isRightKey(file.read(kLongestKeyFile).trimmed());
}

bool Licence::store(const QByteArray &key)
{
    QSaveFile file(keyFilePath());
    return QDir().mkpath(QFileInfo(file.fileName()).path()) && file.open(QIODevice::WriteOnly) &&
        file.write(key + '\n') == key.size() + 1 && file.commit();
}
