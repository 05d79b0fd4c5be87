#pragma once

#include <QApplication>

/// The application object. Memory that runs out in any event's handler ends that event with one
/// debug line, not the program; what handlers change, they change only when nothing more can fail.
class Application : public QApplication {
    Q_OBJECT

public:
    using QApplication::QApplication;
    bool notify(QObject *receiver, QEvent *event) override;
};
