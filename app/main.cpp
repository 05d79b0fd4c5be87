#include "app/Application.h"
#include "app/Global.h"
#include "app/Recovery.h"
#include "app/Startup.h"

int main(int argc, char *argv[])
{
    Startup::prepare();
    Application application(argc, argv);
    Startup::dress(application);
    Global::createCore();
    Global::createWindows();
    Global global;
    Global::connectSignals(global);
    {
        Recovery recovery(Recovery::userFolder());
        recovery.start(*Global::mainWindow());
        Application::exec();
    }
    Global::destroyAll();
    return 0;
}
