#include "app/ScreenScale.h"

#include <QGuiApplication>

#ifdef HAVE_X11
// Last: it defines words as common as None and Bool.
#include <X11/Xlib.h>
#endif

namespace {

constexpr double kUnscaledDpi = 96.0;
constexpr double kLeastScaling = 1.1;

/// What X tells of the first screen where no desktop has set a density; 96 without X.
double accidentalDpi()
{
    double dpi = kUnscaledDpi;
#ifdef HAVE_X11
    Display *display = XOpenDisplay(nullptr);
    if (!display)
        return dpi;
    constexpr double kMillimetresPerInch = 25.4;
    const int screen = DefaultScreen(display);
    const int millimetres = DisplayWidthMM(display, screen);
    if (!XGetDefault(display, "Xft", "dpi") && millimetres > 0)
        dpi = DisplayWidth(display, screen) * kMillimetresPerInch / millimetres;
    XCloseDisplay(display);
#endif
    return dpi;
}

} // namespace

void enableScreenScaling()
{
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // A screen at one and a half is drawn at one and a half, neither at one nor at two.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    const double accident = accidentalDpi() / kUnscaledDpi;
    if (accident <= 1.0 || accident >= kLeastScaling)
        return;
    const double asked = qgetenv("QT_SCALE_FACTOR").toDouble();
    qputenv("QT_SCALE_FACTOR", QByteArray::number((asked > 0.0 ? asked : 1.0) / accident, 'g', 17));
}
