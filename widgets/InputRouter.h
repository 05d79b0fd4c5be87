#pragma once

#include <QObject>

class QWidget;

/// Keeps the keyboard of a window with its view, and the wheel with its lists.
///
/// A key press that the focused widget leaves unused goes to the view, wherever in the window the
/// focus is; fields keep what is typed. A field gives the focus to the view at Return or Escape and
/// when the mouse goes on to something that takes no focus itself; so does whatever is hidden with
/// the focus in it. Sliders, buttons and lists take the focus by Tab only, and sliders without it
/// leave the wheel to what they lie in.
///
/// The window owns the router; the view must outlive it and may lie in another window.
class InputRouter : public QObject {
public:
    InputRouter(QWidget *window, QWidget *view);

protected:
    bool eventFilter(QObject *receiver, QEvent *event) override;

private:
    bool routeKey(const QWidget *receiver, QEvent *event);
    void endTyping(const QWidget *pressed);
    void takeLostFocus();
    void leaveHidden(const QWidget *hidden);

    QWidget *m_window;
    QWidget *m_view;
};
