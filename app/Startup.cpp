#include "app/Startup.h"

#include "app/Global.h"
#include "app/Licence.h"
#include "app/ScreenScale.h"

#include <QApplication>
#include <QFile>
#include <QFont>
#include <QIcon>
#include <QSurfaceFormat>

void Startup::prepare()
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    enableScreenScaling();
    QSurfaceFormat format;
    format.setVersion(4, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setDepthBufferSize(24);
    QSurfaceFormat::setDefaultFormat(format);
    qSetMessagePattern(QStringLiteral("%{message}"));
}

void Startup::dress(QApplication &application)
{
    Global::setUnlicensed(!Licence::isLicensed());

    QApplication::setWindowIcon(QIcon(QStringLiteral(":/resources/Resources/plexmold.png")));
    QFile styleSheet(QStringLiteral(":/resources/Resources/darkorange.stylesheet"));
    if (styleSheet.open(QIODevice::ReadOnly))
        application.setStyleSheet(QString::fromLatin1(styleSheet.readAll()));
    constexpr int kPointSize = 8;
    QApplication::setFont(QFont(QStringLiteral("Helvetica"), kPointSize, QFont::Light, false));
}
