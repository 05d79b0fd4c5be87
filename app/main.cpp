#include "app/Global.h"
#include "app/Recovery.h"
#include "app/Startup.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    Startup::prepare();
    QApplication application(argc, argv);
    Startup::dress(application);
    Global::createCore();
    Global::createWindows();
    Global global;
    Global::connectSignals(global);
    {
        Recovery recovery(Recovery::userFolder());
        recovery.start(*Global::mainWindow());
        QApplication::exec();
    }
    Global::destroyAll();
    return 0;
}
