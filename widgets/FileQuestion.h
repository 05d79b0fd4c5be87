#pragma once

#include <QString>

class QWidget;

// The program's file dialogs. Each starts in the folder last used in this run, the first in /home.
// Both return an empty path when cancelled.

QString askForFile(QWidget *parent, const QString &caption, const QString &filter);
/// For a file to be written. A name without a suffix gets this one, given without its dot, before
/// the dialog asks whether an existing file is to be replaced.
QString askForNewFile(QWidget *parent, const QString &caption, const QString &filter,
                      const QString &suffix);
