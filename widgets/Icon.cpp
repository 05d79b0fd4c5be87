#include "widgets/Icon.h"

#include <QMouseEvent>

void Icon::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    emit clicked();
}

void Icon::mouseDoubleClickEvent(QMouseEvent *event)
{
    event->accept();
    emit doubleClicked();
}

void Icon::enterEvent(QEvent *event)
{
    QLabel::enterEvent(event);
    emit hover();
}
