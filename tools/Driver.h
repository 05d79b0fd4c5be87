#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <functional>
#include <memory>

/// A person's hands: mouse and key events that enter at the window system's side of the window, so
/// that Qt finds the widget, the focus and the shortcut itself. Points are widget pixels.
namespace Driver {

inline void mouse(QTest::MouseAction action, QWidget *widget, const QPoint &at,
                  Qt::MouseButton button, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QWidget *window = widget->window();
    QTest::mouseEvent(action, window->windowHandle(), button, modifiers, widget->mapTo(window, at));
    QApplication::processEvents();
}

inline void click(QWidget *widget, Qt::MouseButton button = Qt::LeftButton,
                  Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    mouse(QTest::MousePress, widget, widget->rect().center(), button, modifiers);
    mouse(QTest::MouseRelease, widget, widget->rect().center(), button, modifiers);
}

/// Press at `from`, `steps` moves, release at `to`.
inline void drag(QWidget *widget, const QPoint &from, const QPoint &to, int steps,
                 Qt::MouseButton button = Qt::LeftButton,
                 Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    mouse(QTest::MousePress, widget, from, button, modifiers);
    for (int step = 1; step <= steps; ++step)
        mouse(QTest::MouseMove, widget, from + (to - from) * step / steps, Qt::NoButton, modifiers);
    mouse(QTest::MouseRelease, widget, to, button, modifiers);
}

inline void key(QWidget *widget, Qt::Key code, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    // Shortcuts belong to the active window; a display without a window manager activates none.
    if (!widget->window()->isActiveWindow()) {
        widget->window()->activateWindow();
        (void)QTest::qWaitForWindowActive(widget->window());
    }
    QTest::keyClick(widget->window()->windowHandle(), code, modifiers);
    QApplication::processEvents();
}

/// Calls `answer` with the next modal dialog of that class, once it shows; gives up after ten
/// seconds, closing whatever is modal so that the test fails instead of hanging.
template <class Dialog> void whenShown(const std::function<void(Dialog *)> &answer)
{
    auto *timer = new QTimer(qApp);
    auto ticks = std::make_shared<int>(0);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, ticks, answer] {
        QWidget *popup = QApplication::activePopupWidget();
        auto *dialog = qobject_cast<Dialog *>(popup ? popup : QApplication::activeModalWidget());
        const bool shown = dialog && dialog->isVisible();
        if (!shown && ++*ticks < 200)
            return;
        timer->stop();
        timer->deleteLater();
        if (shown)
            answer(dialog);
        else if (QWidget *modal = QApplication::activeModalWidget())
            modal->close();
    });
    timer->start(50);
}

/// Enters a path in the next file dialog and presses Return. The path is pasted, not typed: the
/// completer's popup, which follows the typing when the folder has been read, would take the
/// Return.
inline void answerFileDialog(const QString &path,
                             const std::function<void(QFileDialog *)> &look = {})
{
    whenShown<QFileDialog>([path, look](QFileDialog *dialog) {
        if (look)
            look(dialog);
        auto *field = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
        QApplication::clipboard()->setText(path);
        field->setFocus();
        field->selectAll();
        field->paste();
        QTest::keyClick(field, Qt::Key_Return);
    });
}

inline void answerMessageBox(QMessageBox::StandardButton which,
                             const std::function<void(QMessageBox *)> &look = {})
{
    whenShown<QMessageBox>([which, look](QMessageBox *box) {
        if (look)
            look(box);
        QTest::mouseClick(box->button(which), Qt::LeftButton);
    });
}

/// The whole screen, all windows included.
inline QImage screenshot()
{
    QTest::qWait(100); // views repaint from the event loop
    return QGuiApplication::primaryScreen()->grabWindow(0).toImage();
}

} // namespace Driver
