#include "widgets/FileQuestion.h"

#include <QFileDialog>

namespace {

QString ask(QFileDialog &dialog)
{
    static QString folder = QStringLiteral("/home");
    dialog.setDirectory(folder);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return QString();
    const QString path = dialog.selectedFiles().constFirst();
    folder = QFileInfo(path).absolutePath();
    return path;
}

} // namespace

QString askForFile(QWidget *parent, const QString &caption, const QString &filter)
{
    QFileDialog dialog(parent, caption, QString(), filter);
    dialog.setFileMode(QFileDialog::ExistingFile);
    return ask(dialog);
}

QString askForNewFile(QWidget *parent, const QString &caption, const QString &filter,
                      const QString &suffix)
{
    QFileDialog dialog(parent, caption, QString(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(suffix);
    return ask(dialog);
}
