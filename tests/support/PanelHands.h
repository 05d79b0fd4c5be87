#pragma once

#include "app/Global.h"
#include "app/MainWindow.h"
#include "layers/Layer.h"
#include "layers/LayerManager.h"
#include "support/Driver.h"
#include "widgets/Icon.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QScrollArea>

#include <algorithm>

/// What a person finds in the layer panel, by what stands on it.
namespace PanelHands {

inline bool importSample(const QString &path)
{
    const QString tool = QCoreApplication::applicationDirPath() + QStringLiteral("/make_sample");
    if (QProcess::execute(tool, { path }) != 0 || !Global::openArchive(path))
        return false;
    emit Global::mainWindow()->alembicImported();
    return true;
}

/// Presses the panel's button for that kind and returns the layer it made.
inline Layer *addLayer(LayerKind kind)
{
    for (QPushButton *button : Global::layerManager()->findChildren<QPushButton *>())
        if (button->text() == layerKindName(kind))
            Driver::click(button);
    return Global::layers().empty() ? nullptr : Global::layers().back();
}

inline void deleteEveryLayer()
{
    while (!Global::layers().empty())
        Global::deleteLayer(Global::layers().back());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

inline Icon *expandLabel(Layer *layer) { return layer->findChildren<Icon *>().at(0); }
inline Icon *nameLabel(Layer *layer) { return layer->findChildren<Icon *>().at(1); }
inline QWidget *settingsPanel(Layer *layer)
{
    return layer->findChild<QWidget *>(QStringLiteral("settingsPanel"));
}

inline void bringIntoView(QWidget *widget)
{
    Global::layerManager()->findChild<QScrollArea *>()->ensureWidgetVisible(widget);
    QApplication::processEvents();
}

/// The panel's labels from top to bottom.
inline QList<QLabel *> fieldLabels(Layer *layer)
{
    QList<QLabel *> labels = settingsPanel(layer)->findChildren<QLabel *>();
    std::sort(labels.begin(), labels.end(),
              [](const QLabel *a, const QLabel *b) { return a->y() < b->y(); });
    return labels;
}

/// The part of that class in the row of that label, or null.
template <class Part> Part *partOf(Layer *layer, const QString &label)
{
    for (QLabel *text : fieldLabels(layer))
        for (Part *part : settingsPanel(layer)->findChildren<Part *>())
            if (text->text() == label && text->geometry().top() <= part->geometry().center().y() &&
                part->geometry().center().y() <= text->geometry().bottom())
                return part;
    return nullptr;
}

/// Clicks into the field and types over what stands there.
inline void type(QWidget *field, const QString &text)
{
    bringIntoView(field);
    Driver::click(field);
    Driver::key(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(QApplication::focusWidget(), text);
}

} // namespace PanelHands
