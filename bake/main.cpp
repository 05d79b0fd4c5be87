#include "bake/Bake.h"
#include "bake/Join.h"
#include "bake/OutputFile.h"

#include <QGuiApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>
#include <new>
#include <unistd.h>

namespace {

/// Ends at once, wherever the program is: in a driver, in the library, in a long frame.
void stop(int)
{
    OutputFile::removeUnfinished();
    static const char text[] = "\nplexmold-bake: stopped, nothing was written\n";
    static_cast<void>(!write(STDERR_FILENO, text, sizeof text - 1));
    _exit(CommandLine::kFailed);
}

void handleSignals()
{
    for (const int signal : { SIGINT, SIGTERM, SIGHUP })
        if (std::signal(signal, stop) == SIG_IGN) // as nohup wants it
            std::signal(signal, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file over its limit is a failed write, with a message
}

/// The toolkit ends the process where no window system answers. The offscreen one always does, and
/// then the missing context can be told.
void choosePlatform()
{
    QByteArray platforms = qgetenv("QT_QPA_PLATFORM");
    if (platforms.isEmpty() && qEnvironmentVariableIsSet("DISPLAY"))
        platforms = "xcb";
    else if (platforms.isEmpty() && qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
        platforms = "wayland";
    qputenv("QT_QPA_PLATFORM", platforms.isEmpty() ? "offscreen" : platforms + ";offscreen");
    // What the toolkit says of the first would hide what we say of the second.
    QLoggingCategory::setFilterRules(
        QStringLiteral("qt.*=false\ndefault=false\nplexmold.app.debug=false"));
}

QString work(const BakeOptions &options, int &argc, char **argv)
{
    if (!options.parts.isEmpty())
        return Join(options).run();
    choosePlatform();
    const QGuiApplication application(argc, argv);
    return Bake(options).run();
}

CommandLine parse(int &argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return CommandLine::parse(QCoreApplication::arguments());
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("plexmold-bake"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PLEXMOLD_VERSION));
    qSetMessagePattern(QStringLiteral("%{message}"));
    const CommandLine line = parse(argc, argv);
    if (!line.options) {
        std::fprintf(line.exitCode == 0 ? stdout : stderr, "%s\n", qPrintable(line.text.trimmed()));
        return line.exitCode;
    }
    handleSignals();
    try {
        std::printf("%s\n", qPrintable(work(*line.options, argc, argv)));
        return 0;
    } catch (const std::bad_alloc &) {
        std::fputs("plexmold-bake: out of memory\n", stderr);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "plexmold-bake: %s\n", error.what());
    }
    return CommandLine::kFailed;
}
