#include "app/Application.h"

#include "app/Log.h"

#include <new>

bool Application::notify(QObject *receiver, QEvent *event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::bad_alloc &) {
        qCDebug(lcApp) << "not enough memory, what was begun is left undone";
        return true;
    }
}
