#include "widgets/InputRouter.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScrollBar>

namespace {

bool isSlider(const QWidget *widget)
{
    return qobject_cast<const QAbstractSlider *>(widget) &&
        !qobject_cast<const QScrollBar *>(widget);
}

/// A click on one of these is the whole of what the mouse wants from it.
void keepClicksFromFocus(QWidget *widget)
{
    const bool needsNoKeys = isSlider(widget) || qobject_cast<QAbstractButton *>(widget) ||
        qobject_cast<QAbstractScrollArea *>(widget);
    if (needsNoKeys && widget->focusPolicy() & Qt::ClickFocus)
        widget->setFocusPolicy(Qt::TabFocus);
}

bool takesClickFocus(const QWidget *widget)
{
    for (; widget; widget = widget->isWindow() ? nullptr : widget->parentWidget())
        if (widget->focusPolicy() & Qt::ClickFocus)
            return true;
    return false;
}

bool endsTyping(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Escape;
}

} // namespace

InputRouter::InputRouter(QWidget *window, QWidget *view)
    : QObject(window)
    , m_window(window)
    , m_view(view)
{
    takeLostFocus();
    qApp->installEventFilter(this);
}

bool InputRouter::eventFilter(QObject *receiver, QEvent *event)
{
    auto *widget = qobject_cast<QWidget *>(receiver);
    if (!widget || widget->window() != m_window)
        return false;
    switch (event->type()) {
    case QEvent::KeyPress:
        return routeKey(widget, event);
    case QEvent::MouseButtonPress:
        endTyping(widget);
        return false;
    case QEvent::Wheel:
        if (!isSlider(widget) || widget->hasFocus())
            return false;
        event->ignore(); // goes on to the parent
        return true;
    case QEvent::Show:
        keepClicksFromFocus(widget);
        return false;
    case QEvent::Hide:
        leaveHidden(widget);
        return false;
    case QEvent::WindowActivate:
        if (widget == m_window)
            takeLostFocus();
        return false;
    default:
        return false;
    }
}

// Every press passes here once for each widget that it is offered to, the focused one first, then
// its parents. It ends before a scroll area around the focus, which would scroll by the arrow keys.
bool InputRouter::routeKey(const QWidget *receiver, QEvent *event)
{
    const QWidget *focused = m_window->focusWidget();
    const bool left = receiver != focused && (!focused || receiver->isAncestorOf(focused)) &&
        (receiver == m_window || qobject_cast<const QAbstractScrollArea *>(receiver));
    if (!left)
        return false;
    if (!qobject_cast<const QLineEdit *>(focused)) {
        QCoreApplication::sendEvent(m_view, event);
        return true;
    }
    if (!endsTyping(static_cast<QKeyEvent *>(event)->key()))
        return false;
    m_view->setFocus();
    event->accept();
    return true;
}

void InputRouter::endTyping(const QWidget *pressed)
{
    if (qobject_cast<QLineEdit *>(m_window->focusWidget()) && !takesClickFocus(pressed))
        m_view->setFocus(Qt::MouseFocusReason);
}

// Left alone, the focus would go to the next widget in line, and the arrow keys might turn a
// slider.
void InputRouter::takeLostFocus()
{
    if (!m_window->focusWidget() && m_window->isAncestorOf(m_view))
        m_view->setFocus();
}

void InputRouter::leaveHidden(const QWidget *hidden)
{
    const QWidget *focused = m_window->focusWidget();
    if (hidden != m_window && hidden != m_view && focused && hidden->isAncestorOf(focused))
        m_view->setFocus();
}
