#include "app/MainWindow.h"

#include "app/Global.h"
#include "app/Licence.h"
#include "app/Log.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>

void MainWindow::showRequestCode()
{
    if (!m_keyDialog) {
        m_keyDialog = new QDialog(this);
        m_keyDialog->setWindowTitle(QStringLiteral("Request Code"));
        m_keyDialog->setMinimumWidth(520);
        auto *code = new QLineEdit(QString::fromLatin1(Licence::requestCode()));
        code->setReadOnly(true);
        code->setToolTip(QStringLiteral("Send this for a key"));
        m_keyField = new QLineEdit;
        m_keyField->setToolTip(QStringLiteral("Paste the key, Return checks it"));
        auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Close);
        auto *form = new QFormLayout(m_keyDialog);
        form->addRow(QStringLiteral("Request code:"), code);
        form->addRow(QStringLiteral("Key:"), m_keyField);
        form->addRow(buttons);
        connect(buttons, &QDialogButtonBox::accepted, this, &MainWindow::checkKey);
        connect(buttons, &QDialogButtonBox::rejected, m_keyDialog, &QDialog::hide);
    }
    m_keyField->setFocus();
    m_keyDialog->show();
    m_keyDialog->raise();
}

void MainWindow::checkKey()
{
    const QByteArray key = m_keyField->text().trimmed().toLatin1();
    if (!Licence::isRightKey(key)) {
        m_keyField->selectAll();
        m_keyField->setFocus();
        return;
    }
    if (!Licence::store(key))
        qCWarning(lcApp).noquote() << "cannot write the licence key file" << Licence::keyFilePath();
    Global::setUnlicensed(false);
    m_keyDialog->hide();
    if (m_buyMenu)
        m_buyMenu->menuAction()->setVisible(false);
}
